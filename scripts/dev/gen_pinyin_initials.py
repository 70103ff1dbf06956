#!/usr/bin/env python3
"""Writes data/pinyin_initials.csv: for every CJK unified ideograph (U+4E00..U+9FFF) the
initial letters of all its readings, so that the code search box can match the initials a
trader types ("payh" for 平安银行, also "pahh" since 行 reads hang or xing).

Source: the pinyin dictionary of go-pinyin (MIT, data from the pinyin-data project), as
Debian ships it in golang-github-mozillazg-go-pinyin-dev. Run as root to have the package
installed, or install it first; the output is committed, the build never runs this.
"""
import os
import re
import subprocess
import sys
import unicodedata

PACKAGE = "golang-github-mozillazg-go-pinyin-dev"
DICT = "/usr/share/gocode/src/github.com/mozillazg/go-pinyin/pinyin_dict.go"


def ensure_package():
    if os.path.exists(DICT):
        return
    if os.geteuid() != 0:
        sys.exit(f"install {PACKAGE} first (apt-get install {PACKAGE})")
    subprocess.run(["apt-get", "install", "-y", "-qq", "--no-install-recommends", PACKAGE],
                   check=True)


def initial(reading):
    for ch in unicodedata.normalize("NFD", reading):
        if "a" <= ch <= "z":
            return ch
    return None


def main():
    ensure_package()
    out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "data",
                       "pinyin_initials.csv")
    entry = re.compile(r'^\s*0x([0-9A-F]+):\s*"([^"]*)",')
    rows = []
    with open(DICT, encoding="utf-8") as f:
        for line in f:
            m = entry.match(line)
            if not m:
                continue
            cp = int(m.group(1), 16)
            if not 0x4E00 <= cp <= 0x9FFF:
                continue
            letters = []
            for reading in m.group(2).split(","):
                c = initial(reading.strip().lower())
                if c and c not in letters:
                    letters.append(c)
            if letters:
                rows.append((chr(cp), "".join(letters)))
    with open(out, "w", encoding="utf-8", newline="\n") as f:
        f.write("char,initials\n")
        for ch, letters in rows:
            f.write(f"{ch},{letters}\n")
    print(f"{len(rows)} characters -> {os.path.normpath(out)}")


if __name__ == "__main__":
    main()
