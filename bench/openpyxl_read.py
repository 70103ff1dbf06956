#!/usr/bin/python3
"""Times openpyxl on an .xlsx: open read-only, walk every row of the first sheet.

Prints the median of 5 runs in milliseconds, as a single number.
Usage: openpyxl_read.py FILE
"""
import os
import statistics
import sys
import time

try:
    import openpyxl
except ImportError:
    # A python3 of its own (pyenv, venv) may lack the Debian package; use the system one.
    if sys.executable != "/usr/bin/python3" and os.path.exists("/usr/bin/python3"):
        os.execv("/usr/bin/python3", ["/usr/bin/python3"] + sys.argv)
    sys.exit("openpyxl is not installed (Debian package python3-openpyxl)")

RUNS = 5


def read_once(path):
    start = time.perf_counter()
    book = openpyxl.load_workbook(path, read_only=True)
    sheet = book.worksheets[0]
    rows = 0
    for _ in sheet.iter_rows(values_only=True):
        rows += 1
    book.close()
    return (time.perf_counter() - start) * 1000.0, rows


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: openpyxl_read.py FILE")
    times = [read_once(sys.argv[1])[0] for _ in range(RUNS)]
    print(f"{statistics.median(times):.1f}")


if __name__ == "__main__":
    main()
