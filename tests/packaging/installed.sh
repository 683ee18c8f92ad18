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

# Whoever removes the package is told of the copies that root's rights were given to, and of nothing else.
source=$(dirname "$(dirname "$(dirname "$(realpath "$0")")")")
mkdir -p "$tree/bin" "$tree/home/"{armed,plain}/.local/share/Vornex
printf '#!/bin/sh\ncat "%s/users"\n' "$tree" >"$tree/bin/getent"
printf '%s:x:1:1::%s:/bin/sh\n' armed "$tree/home/armed" plain "$tree/home/plain" gone "$tree/home/gone" >"$tree/users"
chmod +x "$tree/bin/getent"
for user in armed plain; do cp /bin/true "$tree/home/$user/.local/share/Vornex/ext4util"; done
chmod u+s "$tree/home/armed/.local/share/Vornex/ext4util"
said=$(PATH=$tree/bin:$PATH "$source/packaging/prerm" remove)
[ "$said" = "vornex: a card reader with root's rights stays in a home folder. To remove it: rm '$tree/home/armed/.local/share/Vornex/ext4util'" ] ||
    fail "removing the package said: $said"
[ -z "$(PATH=$tree/bin:$PATH "$source/packaging/prerm" upgrade)" ] || fail "an update speaks of removal"
