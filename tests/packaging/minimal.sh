#!/usr/bin/env bash
# A package is built without what only tests and maps need.
set -euo pipefail
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
missing=()
for package in Qt6Test Qt6QuickTest Qt6WebEngineCore Qt6WebEngineQuick Qt6WebChannel; do
    missing+=("-DCMAKE_DISABLE_FIND_PACKAGE_$package=ON")
done
cmake -S "$1" -B "$tree" -G Ninja -DBUILD_TESTING=OFF -DVORNEX_WEB_ENGINE=OFF "${missing[@]}" >"$tree/log" 2>&1 || {
    cat "$tree/log"
    exit 1
}
! ninja -C "$tree" -t targets all | grep -E '(^|/)(tst_|[a-z]+_bench|GoogleMap)' || { echo "FAIL: more than a package needs" >&2; exit 1; }
