#!/usr/bin/env bash
# Installs what is missing, builds, and starts tzapp, the client, on its embedded back
# end. Arguments go to tzapp (for example --list-plugins). Without a display, tzapp
# renders its window to a PNG in the data folder and prints the file's path.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

tz_install_packages
tz_build

data_dir="${TZ_DATA_DIR:-${XDG_DATA_HOME:-$HOME/.local/share}/TZApp/tzapp}"
args=("$@")
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  export QT_QPA_PLATFORM=offscreen
  mkdir -p "$data_dir"
  case " ${args[*]-} " in
    *" --list-plugins "*|*" --screenshot "*|*" --help "*) ;;
    *) args+=(--screenshot "$data_dir/tzapp-screenshot.png") ;;
  esac
fi
exec "$TZ_BUILD/tzapp" --data "$data_dir" "${args[@]}"
