#!/usr/bin/env bash
# Installs the build into a folder of its own and looks at what a user would get.
set -euo pipefail
build=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$tree/usr" >"$tree/log" || { cat "$tree/log"; fail "cmake --install"; }

for program in bin/vornex bin/vornex-cli libexec/vornex/ext4util libexec/vornex/mp4recover \
    libexec/vornex/vornex-authorize; do
    [ -x "$tree/usr/$program" ] || fail "$program is missing"
    [ ! -u "$tree/usr/$program" ] || fail "$program carries the set-user-ID bit"
    ! readelf -d "$tree/usr/$program" | grep -E 'R(UN)?PATH' || fail "$program looks for libraries in the build"
done
version=$(QT_QPA_PLATFORM=offscreen "$tree/usr/bin/vornex" --version)
[[ $version == Vornex\ * ]] || fail "vornex --version said: $version"

# The policy must speak of the very helper that the installed program starts.
policy=$tree/usr/share/polkit-1/actions/org.vornex.authorize.policy
helper=$(sed -n 's|.*exec.path">\(.*\)</annotate>.*|\1|p' "$policy")
[ -x "$tree$helper" ] || fail "the policy's helper $helper is not installed"
for page in vornex vornex-cli; do
    ! man --warnings -l "$tree/usr/share/man/man1/$page.1" 2>&1 >/dev/null | grep . || fail "the manual page of $page has faults"
done
desktop-file-validate "$tree/usr/share/applications/vornex.desktop"
appstreamcli validate --no-net "$tree/usr/share/metainfo/org.vornex.Vornex.metainfo.xml" >&2
[ -s "$tree/usr/share/icons/hicolor/scalable/apps/vornex.svg" ] || fail "no icon"
