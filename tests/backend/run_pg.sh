#!/usr/bin/env bash
# Runs a test executable against a throw-away PostgreSQL server: pg_virtualenv (package
# postgresql-common, with the server from package postgresql) creates and starts a
# cluster in a temporary folder, the test reaches it through TZ_TEST_PG_URL, and the
# cluster is dropped afterwards.
#   run_pg.sh TEST [ARGUMENT...]
# Exits with the test's code, or 77 (skipped) when pg_virtualenv is not installed.
set -u

# Inside the environment: the URL of the server from the PG* variables it exports.
if [ "${1:-}" = --inside ]; then
    marker=$2
    shift 2
    : > "$marker"
    urlencode() {
        local LC_ALL=C s=$1 out='' c i
        for ((i = 0; i < ${#s}; i++)); do
            c=${s:i:1}
            case $c in
                [A-Za-z0-9._~-]) out+=$c ;;
                *) printf -v c '%%%02X' "'$c"; out+=$c ;;
            esac
        done
        printf '%s' "$out"
    }
    export TZ_TEST_PG_CLUSTER="$PGVERSION regress"  # the cluster pg_virtualenv made
    export TZ_TEST_PG_URL="postgresql://$(urlencode "$PGUSER"):$(urlencode "$PGPASSWORD")@$PGHOST:$PGPORT/$(urlencode "$PGDATABASE")"
    exec "$@"
fi

if ! command -v pg_virtualenv > /dev/null 2>&1; then
    echo "SKIPPED: pg_virtualenv is not installed (packages postgresql-common and postgresql)"
    exit 77
fi

# -t keeps the cluster in a temporary folder also for root, so that runs do not meet in
# /etc/postgresql. The port is picked at random; should another server hold it, the
# cluster does not start (the test never ran: no marker) and another port is tried.
marker=$(mktemp)
trap 'rm -f "$marker"' EXIT
for attempt in 1 2 3; do
    rm -f "$marker"
    PGPORT=$((20000 + RANDOM % 20000)) pg_virtualenv -t -- bash "$0" --inside "$marker" "$@"
    status=$?
    [ -e "$marker" ] && exit $status
    echo "run_pg.sh: no PostgreSQL server started (attempt $attempt, exit $status)" >&2
done
exit 1
