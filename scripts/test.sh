#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test with CTest on the offscreen
# platform. Ends with CTest's summary; the exit code is CTest's.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

tz_install_packages
tz_build

export QT_QPA_PLATFORM=offscreen
cd "$TZ_BUILD"
ctest --output-on-failure -j "$(nproc 2>/dev/null || echo 2)" "$@"
