# What the private Wayland desktops (gnome, kde) share, sourced by their scripts: the private
# folders, the session bus, the switch to an unprivileged user when started as root, and stopping
# what was started, in reverse order.

wait_for() { # tries a command for up to $WAIT_SECONDS (default 10) seconds
  local tries=$(( ${WAIT_SECONDS:-10} * 10 ))
  for _ in $(seq "$tries"); do "$@" >/dev/null 2>&1 && return 0; sleep 0.1; done
  echo "$(basename "$0"): timed out waiting for: $*" >&2; return 1
}

private_folders() {
  export HOME=$root/home XDG_CONFIG_HOME=$root/home/.config XDG_CACHE_HOME=$root/home/.cache \
    XDG_DATA_HOME=$root/home/.local/share TMPDIR=$root/tmp XDG_RUNTIME_DIR=$root/run
  mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$TMPDIR"
  mkdir -m 700 -p "$XDG_RUNTIME_DIR"
}

# A bus daemon of the session kind at unix:path=$1; prints nothing, exports nothing.
start_bus() {
  local address pid
  read -r address pid < <(dbus-daemon --session --fork --address="unix:path=$1" \
    --print-address=1 --print-pid=1 | paste -sd ' ')
  pids+=("$pid")
  bus_address=$address
}

# The accessibility switch on the accessibility bus's launcher, once it answers.
enable_accessibility() {
  wait_for dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress
  dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.freedesktop.DBus.Properties.Set \
    string:org.a11y.Status string:IsEnabled variant:boolean:true >/dev/null
  export QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 QT_ACCESSIBILITY=1 GNOME_ACCESSIBILITY=1 NO_AT_BRIDGE=0
}

stop_all() {
  for (( i=${#pids[@]}-1; i>=0; i-- )); do kill "${pids[$i]}" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
}

# Runs "$0 --inside ROOT ARGS..." in a fresh root folder, as an unprivileged user when started as
# root (TAVRIN_DESKTOP_USER, default nobody; TAVRIN_DESKTOP_WRITABLE names folders, colon-separated,
# that it may write), and exits with its status.
run_inside() {
  local root status user uid gid folder
  root=$(mktemp -d "/tmp/tavrin-$1.XXXXXX")
  shift
  chmod 755 "$root"
  # Services the bus started may still be closing their files for a moment.
  trap 'rm -rf "$root" 2>/dev/null || { sleep 1; rm -rf "$root"; }' EXIT
  local as_user=()
  if [[ $(id -u) -eq 0 ]]; then
    user=${TAVRIN_DESKTOP_USER:-nobody}
    uid=$(id -u "$user") gid=$(id -g "$user")
    chown "$uid:$gid" "$root"
    IFS=: read -ra writable <<<"${TAVRIN_DESKTOP_WRITABLE:-}"
    for folder in "${writable[@]}"; do mkdir -p "$folder" && chown -R "$uid:$gid" "$folder"; done
    [[ -d /tmp/.X11-unix ]] || install -d -m 1777 /tmp/.X11-unix
    as_user=(setpriv --reuid="$uid" --regid="$gid" --clear-groups --)
    if [[ $1 == */* ]] && ! "${as_user[@]}" test -x "$1"; then
      echo "$(basename "$0"): $user cannot run $1: a folder on its way is closed to other users" >&2
      exit 1
    fi
  fi
  set +e
  "${as_user[@]}" "$0" --inside "$root" "$@"
  status=$?
  set -e
  exit $status
}
