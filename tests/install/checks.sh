# Checks shared by the install-tree and package tests (sourced). Each fails the test with a line
# saying what is wrong.

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

app_id=app.tavrin.tavrin

# The project's version, as CMake knows it.
version_of() {
  sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$1/CMakeCache.txt"
}

# The model runtime module under ROOT: lib/<multiarch>/tavrin, or lib/tavrin where the build knows no
# multiarch folder.
model_runtime() {
  local candidate
  for candidate in "$1"/lib/*/tavrin/tavrin-onnx.so "$1"/lib/tavrin/tavrin-onnx.so; do
    [[ -f "$candidate" ]] && { echo "$candidate"; return 0; }
  done
  return 0
}

# Every file of the freedesktop layout under ROOT (a prefix such as /usr).
check_layout() {
  local root=$1
  local files=(
    bin/tavrin
    share/tavrin/namespaces_export.csv
    share/tavrin/actions_shortcuts_export.csv
    share/tavrin/accessibility_tree_mapping_export.csv
    share/tavrin/tavrin_v0_3.onnx
    share/tavrin/demo-session.jsonl
    "share/applications/$app_id.desktop"
    "share/metainfo/$app_id.metainfo.xml"
    "share/icons/hicolor/scalable/apps/$app_id.svg"
    "share/icons/hicolor/symbolic/apps/$app_id-symbolic.svg"
    share/man/man1/tavrin.1.gz
    share/doc/tavrin/copyright
    share/doc/tavrin/changelog.gz
  )
  local size
  for size in 16 22 24 32 48 64 128 256; do
    files+=("share/icons/hicolor/${size}x${size}/apps/$app_id.png")
  done
  local file
  for file in "${files[@]}"; do
    [[ -f "$root/$file" ]] || fail "missing $root/$file"
  done
  [[ -x "$root/bin/tavrin" ]] || fail "$root/bin/tavrin is not executable"
  # The model runtime, loaded on the first classification: its libraries resolve and it exports
  # its entry point.
  local module
  module=$(model_runtime "$root")
  [[ -n "$module" ]] || fail "no model runtime tavrin-onnx.so under $root/lib"
  python3 -c 'import ctypes, sys; ctypes.CDLL(sys.argv[1]).tavrin_onnx_model_loader' "$module" 2>&1 ||
    fail "$module does not load or lacks tavrin_onnx_model_loader"
  # A PNG's width and height are the two big-endian words at byte 16.
  for size in 16 22 24 32 48 64 128 256; do
    local png="$root/share/icons/hicolor/${size}x${size}/apps/$app_id.png"
    local dims
    dims=$(od -An -tu1 -j16 -N8 "$png" | awk '{ print $1*16777216+$2*65536+$3*256+$4 "x" $5*16777216+$6*65536+$7*256+$8 }')
    [[ "$dims" == "${size}x${size}" ]] || fail "$png is $dims, not ${size}x${size}"
  done
}

# The desktop entry, the AppStream data and the manual page pass their validators; the newest
# release in the AppStream data is VERSION. In a staging tree (any ROOT but the system's /usr, which
# holds other programs' data too) the AppStream data is also checked with the tree's desktop entry
# and icons.
check_metadata() {
  local root=$1 version=$2
  local out
  out=$(desktop-file-validate "$root/share/applications/$app_id.desktop" 2>&1) ||
    fail "desktop-file-validate: $out"
  [[ -z "$out" ]] || fail "desktop-file-validate has hints: $out"
  grep -qx "StartupWMClass=tavrin" "$root/share/applications/$app_id.desktop" ||
    fail "the desktop entry does not name the windows' class"
  # No network here: the homepage and screenshot addresses are checked for form only.
  out=$(appstreamcli validate --pedantic --no-net "$root/share/metainfo/$app_id.metainfo.xml" 2>&1) ||
    fail "appstreamcli validate: $out"
  if [[ "$root" != /usr ]]; then
    out=$(appstreamcli validate-tree --pedantic --no-net "$root" 2>&1) || fail "appstreamcli validate-tree: $out"
  fi
  local newest
  newest=$(grep -o '<release version="[^"]*"' "$root/share/metainfo/$app_id.metainfo.xml" | head -1 | cut -d'"' -f2)
  [[ "$newest" == "$version" ]] || fail "the newest release in the AppStream data is $newest, the project is $version"
  out=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z \
    "$root/share/man/man1/tavrin.1.gz" 2>&1 > /dev/null) || fail "man: $out"
  [[ -z "$out" ]] || fail "man --warnings: $out"
  zcat "$root/share/man/man1/tavrin.1.gz" | grep -q "Tavrin $version" || fail "the manual page is not of version $version"
}

# The installed command runs, says it is VERSION, and a first start in a fresh home builds the
# database in the XDG folder with the catalogue from DATA (the installed share/tavrin).
check_runs() {
  local command=$1 data=$2 home=$3 version=$4
  local out
  out=$("$command" --version) || fail "$command --version failed"
  [[ "$out" == "tavrin $version" ]] || fail "$command --version says '$out', not 'tavrin $version'"
  mkdir -p "$home"
  out=$(env -u XDG_DATA_HOME -u XDG_CONFIG_HOME HOME="$home" "$command" status) || fail "$command status failed: $out"
  echo "$out" | grep -qx "Database: $home/.local/share/tavrin/db.sqlite" || fail "status: $out"
  local expected
  expected=$(($(wc -l < "$data/namespaces_export.csv") - 1))
  echo "$out" | grep -qE "^  namespace +$expected\$" ||
    fail "status did not load the $expected namespaces of $data: $out"
  echo "$out" | grep -qE "^  actions +[1-9][0-9]*\$" || fail "status loaded no actions: $out"
  [[ "$(stat -c %a "$home/.local/share/tavrin/db.sqlite")" == 600 ]] || fail "the database is not private"
}
