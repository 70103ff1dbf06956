"""Prints one line per benchmark figure with its target, from Google Benchmark JSON
files, and times python3-openpyxl on the same .xlsx when it is installed."""
import glob
import json
import os
import subprocess
import sys

out, root = sys.argv[1], sys.argv[2]

# name -> (label, kind, target); kind "ms" is a time per run, "rate" items per second.
TARGETS = {
    "BM_ImportXlsx10k": ("read a 10,000-line .xlsx", "ms", 60),
    "BM_ImportCsv10k": ("read a 10,000-line .csv", "ms", 15),
    "BM_UpdateQuote": ("UpdateQuote", "rate", 2_000_000),
    "BM_CalculateExtraInfo_1000x200": ("CalculateExtraInfo over 1,000 portfolios x 200 lines", "ms", 10),
    "BM_Create200LinePortfolio": ("create a 200-line portfolio through the embedded back end", "ms", 20),
    "BM_Import5000LineXlsx": ("import a 5,000-line .xlsx through the list's import button", "ms", 300),
    "BM_Delete100Selected": ("delete 100 selected portfolios from the list", "ms", 2000),
}
TO_MS = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}

figures = {}
for path in sorted(glob.glob(os.path.join(out, "*.json"))):
    try:
        data = json.load(open(path))
    except ValueError:
        continue
    for b in data.get("benchmarks", []):
        if b.get("aggregate_name") != "median":
            continue
        name = b["run_name"].split("/")[0]
        ms = b["real_time"] * TO_MS[b["time_unit"]]
        figures[name] = ms
        label, kind, target = TARGETS.get(name, (name, "ms", None))
        if kind == "rate":
            rate = b.get("items_per_second", 0.0)
            verdict = "" if target is None else (" ok" if rate >= target else " MISSED")
            print(f"{label}: {rate / 1e6:.2f} million/s (target >= {target / 1e6:g} million/s){verdict}")
        else:
            verdict = "" if target is None else (" ok" if ms <= target else " MISSED")
            goal = f" (target <= {target} ms)" if target is not None else ""
            print(f"{label}: {ms:.2f} ms{goal}{verdict}")

xlsx_path_file = os.path.join(out, "xlsx-path")
if "BM_ImportXlsx10k" in figures and os.path.exists(xlsx_path_file):
    xlsx = open(xlsx_path_file).read().strip()
    try:
        import openpyxl  # noqa: F401
    except ImportError:
        print("python3-openpyxl not installed: no comparison")
    else:
        result = subprocess.run([sys.executable, os.path.join(root, "bench", "openpyxl_read.py"), xlsx],
                                capture_output=True, text=True)
        try:
            py_ms = float(result.stdout.strip().splitlines()[-1])
        except (ValueError, IndexError):
            print("openpyxl comparison failed:", result.stderr.strip()[:200])
        else:
            ratio = py_ms / figures["BM_ImportXlsx10k"]
            verdict = "ok" if ratio >= 10 else "MISSED"
            print(f"openpyxl (read-only) on the same .xlsx: {py_ms:.1f} ms; "
                  f"ours is {ratio:.1f}x faster (target >= 10x) {verdict}")
