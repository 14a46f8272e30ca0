#!/usr/bin/env bash
# Installs a build into a scratch folder and checks what a desktop needs of it: the program in a
# folder of its own with its help beside it, a launcher on the PATH, a desktop entry and the icon.
set -euo pipefail
build=$1
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

DESTDIR="$root" cmake --install "$build" --prefix /usr > /dev/null
dir="$root/usr/lib/pathlark"
[ -x "$dir/pathlark" ] || fail "program not in its own folder"
for page in mainpathlark ping trace dns whois; do
  [ -s "$dir/help/$page.htm" ] || fail "help/$page.htm missing beside the program"
done
[ -s "$dir/Pathlark.chm" ] || fail "Pathlark.chm missing beside the program"
launcher="$root/usr/bin/pathlark"
[ -L "$launcher" ] || fail "no launcher on the PATH"
[ "$(readlink -f "$launcher")" = "$(readlink -f "$dir/pathlark")" ] || fail "launcher points elsewhere"
entry="$root/usr/share/applications/pathlark.desktop"
grep -qx 'Exec=pathlark' "$entry" || fail "desktop entry does not start the launcher"
grep -qx 'Icon=pathlark' "$entry" || fail "desktop entry names no icon"
grep -qx 'Type=Application' "$entry" || fail "desktop entry is not an application"
icon="$root/usr/share/icons/hicolor/32x32/apps/pathlark.png"
[ "$(head -c 8 "$icon" | od -An -tx1 | tr -d ' ')" = 89504e470d0a1a0a ] || fail "32x32 icon is not a PNG"
echo "1 passed, 0 failed"
