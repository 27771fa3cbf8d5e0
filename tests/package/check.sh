#!/usr/bin/env bash
# Checks the Debian packages in a folder: lintian reports no error, the menu
# entry and the AppStream entry validate, and the programs unpacked into a
# temporary root run from there against the simulated cameras, with no
# RUNPATH of their own.
#
# check.sh PACKAGE_FOLDER
set -uo pipefail

folder="$1"
failures=0
pass() { echo "PASS: $*"; }
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

program_deb="$(ls "$folder"/speckmend_*.deb 2>/dev/null | head -n 1)"
library_deb="$(ls "$folder"/libtavo-api1-sim_*.deb 2>/dev/null | head -n 1)"
if [ -z "$program_deb" ] || [ -z "$library_deb" ]; then
    echo "FAIL: the two packages are not in $folder" >&2
    exit 1
fi
version="$(dpkg-deb -f "$program_deb" Version)"

root="$(mktemp -d)"
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/fs" "$root/sim/state" "$root/sim/runtime" "$root/here"
for deb in "$program_deb" "$library_deb"; do
    echo "--- $(basename "$deb")"
    dpkg-deb -f "$deb" Package Version Architecture Depends Provides Conflicts | sed 's/^/    /'
    dpkg-deb -x "$deb" "$root/fs" || fail "$deb does not unpack"
done

echo "--- lintian"
if lintian --fail-on error --tag-display-limit 0 "$program_deb" "$library_deb"; then
    pass "lintian reports no error"
else
    fail "lintian reports errors"
fi

desktop="$(ls "$root"/fs/usr/share/applications/*.desktop 2>/dev/null)"
if [ -n "$desktop" ] && desktop-file-validate "$desktop"; then
    pass "desktop-file-validate $(basename "$desktop")"
else
    fail "desktop-file-validate: ${desktop:-no desktop file}"
fi
metainfo="$(ls "$root"/fs/usr/share/metainfo/*.xml 2>/dev/null)"
if [ -n "$metainfo" ] && appstreamcli validate --no-net "$metainfo"; then
    pass "appstreamcli validate --no-net $(basename "$metainfo")"
else
    fail "appstreamcli validate: ${metainfo:-no metainfo file}"
fi

for file in usr/share/speckmend/cameraparameter.xml usr/share/man/man1/speckmend.1.gz \
    usr/share/icons/hicolor/scalable/apps/speckmend.svg \
    usr/share/icons/hicolor/48x48/apps/speckmend.png; do
    [ -f "$root/fs/$file" ] && pass "/$file" || fail "/$file is missing"
done
if grep -q "speckmend - " <<<"$(man -l "$root/fs/usr/share/man/man1/speckmend.1.gz" 2>/dev/null)"; then
    pass "the manual page renders"
else
    fail "the manual page does not render"
fi

# Installed programs find the camera library by the system's search alone.
for binary in "$root"/fs/usr/bin/*; do
    dynamic="$(readelf -d "$binary")"
    if grep -Eq 'RUNPATH|RPATH' <<<"$dynamic"; then
        fail "$(basename "$binary") has a RUNPATH: $(grep -E 'RUNPATH|RPATH' <<<"$dynamic")"
    else
        pass "$(basename "$binary") has no RUNPATH"
    fi
done

# Here that search is the unpacked library folder, the simulator's cameras
# live in private folders, and there is no display.
multiarch="$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
export LD_LIBRARY_PATH="$root/fs/usr/lib/$multiarch"
export TAVO_SIM_STATE_DIR="$root/sim/state" TAVO_SIM_RUNTIME_DIR="$root/sim/runtime"
unset TAVO_SIM_CONFIG TAVO_SIM_FAULTS DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM
cd "$root/here" || exit 1

libraries="$(ldd "$root/fs/usr/bin/speckmend")"
if grep -qF "libtavo_api.so.1 => $root/fs/usr/lib/$multiarch/" <<<"$libraries"; then
    pass "speckmend finds the packaged libtavo_api.so.1"
else
    fail "speckmend does not find the packaged library: $(grep tavo <<<"$libraries")"
fi

output="$("$root/fs/usr/bin/speckmend" --version 2>&1)"
[ "$output" = "speckmend $version" ] && pass "speckmend --version: $output" \
    || fail "speckmend --version said: $output"

output="$("$root/fs/usr/bin/tavo-sim" list 2>&1)"
grep -q 4103000101 <<<"$output" && pass "tavo-sim list shows the simulated cameras" \
    || fail "tavo-sim list said: $output"

if [ -x "$root/fs/usr/bin/speckmend-cli" ]; then
    output="$("$root/fs/usr/bin/speckmend-cli" list 2>&1)"
    status=$?
    [ "$status" -eq 0 ] && grep -q 4103000101 <<<"$output" \
        && pass "speckmend-cli list shows the simulated cameras" \
        || fail "speckmend-cli list: status $status, said: $output"
else
    echo "SKIP: speckmend-cli list: the command line tool is not in this build"
fi

if [ "$failures" -ne 0 ]; then
    echo "$failures package checks failed" >&2
    exit 1
fi
echo "All package checks passed: $(basename "$program_deb") $(basename "$library_deb")"
