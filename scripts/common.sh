# Shared by run.sh and test.sh: install the Debian packages the build needs, then
# configure and build in build/. Idempotent: does nothing that is already done.

TZ_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
TZ_BUILD="$TZ_ROOT/build"

# Build and run-time dependencies (Debian 12 package names).
TZ_PACKAGES=(
  g++ cmake make pkg-config ccache
  qtbase5-dev libqt5sql5-sqlite libqt5sql5-psql libqt5websockets5-dev
  libquazip1-qt5-dev libxlsxwriter-dev libbenchmark-dev
  zlib1g-dev                # inflating the parts of an .xlsx as they are read
  libssl-dev                # the back end's password digests (PBKDF2)
  fonts-noto-cjk            # Chinese glyphs in the client and its screenshots
  qttranslations5-l10n      # Qt's own texts (file dialogs, message-box buttons) in Chinese
  python3-openpyxl          # benchmark comparison only
  # The back end's tests on PostgreSQL: pg_virtualenv starts a throw-away server per run.
  postgresql postgresql-common
)

# What tests/fuzz/run.sh needs besides: clang and its libFuzzer and sanitizer runtimes.
TZ_FUZZ_PACKAGES=(clang libclang-rt-dev)

tz_missing_packages() {  # [package...], by default TZ_PACKAGES
  local missing=()
  local wanted=("$@")
  [ ${#wanted[@]} -eq 0 ] && wanted=("${TZ_PACKAGES[@]}")
  for p in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  echo "${missing[@]}"
}

tz_install_packages() {  # [package...], by default TZ_PACKAGES
  local missing
  missing=$(tz_missing_packages "$@")
  [ -z "$missing" ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "Missing packages. Install them with:" >&2
    echo "  sudo apt-get update && sudo apt-get install -y $missing" >&2
    exit 1
  fi
  echo "Installing: $missing"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  # shellcheck disable=SC2086
  apt-get install -y -qq --no-install-recommends $missing
}

tz_build() {
  local jobs
  jobs=$(nproc 2>/dev/null || echo 2)
  if [ ! -f "$TZ_BUILD/CMakeCache.txt" ]; then
    cmake -S "$TZ_ROOT" -B "$TZ_BUILD" -DCMAKE_BUILD_TYPE=RelWithDebInfo
  fi
  cmake --build "$TZ_BUILD" -j "$jobs"
}
