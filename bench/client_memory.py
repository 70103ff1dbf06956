"""Resident memory of the client with a large book: builds a back-end database holding
10,000 portfolios of 20 lines for the demo user, starts tzapp on it (embedded back end,
offscreen, screenshot mode so it ends by itself) and prints its peak resident set size.
Usage: client_memory.py BUILD_DIR DATA_DIR"""
import csv
import os
import resource
import sqlite3
import subprocess
import sys
import tempfile

build, data = sys.argv[1], sys.argv[2]
PORTFOLIOS, LINES = 10_000, 20

with tempfile.TemporaryDirectory() as tmp:
    db_path = os.path.join(tmp, "book.sqlite")
    # The back end creates the schema; the book is written straight into it.
    subprocess.run([os.path.join(build, "tzbackend"), "--db", db_path, "--no-seed", "--data", data],
                   check=True, capture_output=True)
    with open(os.path.join(data, "a_shares.csv"), encoding="utf-8") as f:
        codes = [(r["code"], "SH" if r["code"].startswith("6") else "SZ")
                 for r in csv.DictReader(f)
                 if r["list_date"] and r["code"][:3] in ("600", "601", "603", "000", "002", "300")]
    db = sqlite3.connect(db_path)
    now = "2026-11-21T09:30:00.000Z"
    db.execute("INSERT INTO users (user_name, created_at) VALUES ('demo', ?)", (now,))
    user = db.execute("SELECT id FROM users WHERE user_name = 'demo'").fetchone()[0]
    db.execute("INSERT INTO strategies (strategy_no, user_id, strategy_name) VALUES ('1001', ?, '默认')",
               (user,))
    strategy = db.execute("SELECT id FROM strategies").fetchone()[0]
    for p in range(PORTFOLIOS):
        cur = db.execute(
            "INSERT INTO portfolios (portfolio_no, user_id, strategy_id, portfolio_name,"
            " default_basket_size, created_at) VALUES (?, ?, ?, ?, 1, ?)",
            (str(200001 + p), user, strategy, f"组合{p}", now))
        rows = [(cur.lastrowid, n + 1, *codes[(p * 37 + n * 11) % len(codes)], "买入", 100 * (n + 1), 5.0)
                for n in range(LINES)]
        db.executemany("INSERT OR IGNORE INTO portfolio_lines (portfolio_id, line_no, security_id,"
                       " security_exchange, side, trade_qty, position_weight) VALUES (?,?,?,?,?,?,?)", rows)
    db.commit()
    db.close()

    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    subprocess.run([os.path.join(build, "tzapp"), "--data", tmp, "--db", db_path,
                    "--screenshot", os.path.join(tmp, "book.png"), "--screenshot-delay", "6000"],
                   check=True, capture_output=True, env=env)
    peak_mib = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024.0
    verdict = "ok" if peak_mib <= 300 else "MISSED"
    print(f"tzapp with {PORTFOLIOS:,} portfolios of {LINES} lines loaded and quoted: "
          f"peak resident memory {peak_mib:.0f} MiB (target <= 300 MiB) {verdict}")
