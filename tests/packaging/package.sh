#!/usr/bin/env bash
# What a user installs: `cmake --install` into a scratch root (a path with a blank) checked
# file by file against the layout and the install manifest; with --deb, also the Debian
# package built from the same rules: its name, contents and dependencies, and what
# desktop-file-validate, appstreamcli and lintian say of it.
set -euo pipefail
build=$(cd "$1" && pwd)
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
deb_too=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")

# Every file the package must hold, below the prefix.
expected=(
  lib/pathlark/pathlark lib/pathlark/Pathlark.chm
  lib/pathlark/help/{mainpathlark,ping,trace,dns,whois,monitor}.htm lib/pathlark/help/pathlark.css
  bin/pathlark
  share/applications/pathlark.desktop
  share/icons/hicolor/{16x16,32x32,48x48,64x64,128x128,256x256}/apps/pathlark.png
  share/icons/hicolor/scalable/apps/pathlark.svg
  share/metainfo/org.pathlark.Pathlark.metainfo.xml
  share/man/man1/pathlark.1.gz
  share/doc/pathlark/copyright share/doc/pathlark/changelog.gz
)

# Catches: a file missing or put elsewhere (lib/<triplet>), a launcher that is absolute, made
# behind the manifest's back or pointing nowhere, an icon of the wrong size.
root="$work/dest dir"
DESTDIR="$root" cmake --install "$build" --prefix /usr > "$work/install.log"
usr="$root/usr"
(cd "$usr" && find . -type f -o -type l | sed 's|^\./||' | sort) > "$work/found"
printf '%s\n' "${expected[@]}" | sort > "$work/expected"
diff -u "$work/expected" "$work/found" > "$work/layout.diff" || { fail "installed files differ from the layout:"; cat "$work/layout.diff"; }
sed 's|^/usr/||' "$build/install_manifest.txt" | sort > "$work/manifest"
diff -u "$work/expected" "$work/manifest" > "$work/manifest.diff" || { fail "install_manifest.txt differs from the layout:"; cat "$work/manifest.diff"; }
[ -x "$usr/lib/pathlark/pathlark" ] || fail "the program is not executable"
[ "$(readlink "$usr/bin/pathlark")" = ../lib/pathlark/pathlark ] || fail "bin/pathlark is not the relative link ../lib/pathlark/pathlark"
[ -x "$usr/bin/pathlark" ] || fail "bin/pathlark does not reach the program"
for size in 16 32 48 64 128 256; do
  # A PNG's width and height are the big-endian words at bytes 16 and 20.
  dims=$(od -An -tu1 -j16 -N8 "$usr/share/icons/hicolor/${size}x$size/apps/pathlark.png" | awk '{ print $3*256+$4 "x" $7*256+$8 }')
  [ "$dims" = "${size}x$size" ] || fail "icon ${size}x$size is $dims"
done

# Catches: a scalable icon that is not well-formed SVG or not on the bitmaps' 32 by 32 grid.
svg="$usr/share/icons/hicolor/scalable/apps/pathlark.svg"
grep -q '<svg [^>]*viewBox="0 0 32 32"' "$svg" || fail "the SVG icon has no 32 by 32 viewBox"
if command -v xmllint > /dev/null; then
  xmllint --noout "$svg" || fail "the SVG icon is not well-formed"
fi

# Catches: a package without its licence: the copyright file not machine-readable (DEP-5) or
# not GPL-3+, the source without the licence's text.
copyright="$usr/share/doc/pathlark/copyright"
head -n 1 "$copyright" | grep -qx 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/' \
  || fail "the copyright file is not in the machine-readable format"
[ "$(grep -c '^License: GPL-3+$' "$copyright")" = 2 ] || fail "the copyright file does not license the files under GPL-3+"
grep -q '/usr/share/common-licenses/GPL-3"' "$copyright" || fail "the copyright file does not point to the licence's text"
[ ! -f /usr/share/common-licenses/GPL-3 ] || cmp -s "$source_dir/LICENSE" /usr/share/common-licenses/GPL-3 \
  || fail "LICENSE is not the text of the GPL version 3"

# Catches: an AppStream record without its licences, its developer or the release's notes.
metainfo="$usr/share/metainfo/org.pathlark.Pathlark.metainfo.xml"
for want in '<metadata_license>CC0-1.0</metadata_license>' '<project_license>GPL-3.0-or-later</project_license>' \
  '<developer id="org.pathlark">' '<name>The Pathlark developers</name>' "<release version=\"$version\" "; do
  grep -qF -- "$want" "$metainfo" || fail "the AppStream record lacks $want"
done
sed -n '/<release /,/<\/release>/p' "$metainfo" | grep -q '<p>' || fail "the release has no description"

# Catches: a desktop entry or AppStream record that menus and software centres reject, or
# that names a program, icon or entry the package does not have.
entry="$usr/share/applications/pathlark.desktop"
grep -qx 'Exec=pathlark' "$entry" || fail "the desktop entry does not start the launcher"
grep -qx 'Icon=pathlark' "$entry" || fail "the desktop entry names another icon"
[ "$(grep -c '^Exec=pathlark --\(ping\|traceroute\|lookup\|whois\)$' "$entry")" = 4 ] || fail "the desktop entry lacks a page's action"
grep -q '<launchable type="desktop-id">pathlark.desktop</launchable>' "$usr/share/metainfo/org.pathlark.Pathlark.metainfo.xml" \
  || fail "the AppStream record does not launch pathlark.desktop"
if command -v desktop-file-validate > /dev/null; then
  desktop-file-validate "$usr/share/applications/pathlark.desktop" || fail "desktop-file-validate"
else
  echo "SKIP: desktop-file-validate (package desktop-file-utils) not installed"
fi
if command -v appstreamcli > /dev/null; then
  # Pedantic and informational notes are shown; an error or a warning fails.
  appstreamcli validate --pedantic --no-net "$metainfo" > "$work/appstream.log" 2>&1 || true
  cat "$work/appstream.log"
  if grep -q '^[EW]: ' "$work/appstream.log"; then fail "appstreamcli validate --pedantic"; fi
else
  echo "SKIP: appstreamcli (package appstream) not installed"
fi

if [ "$deb_too" = --deb ]; then
  # Catches: a package named or laid out otherwise than the install, one that drags build
  # tools in as dependencies, and what lintian calls an error or a warning.
  if ! command -v cpack > /dev/null || ! command -v dpkg-shlibdeps > /dev/null; then
    echo "SKIP: the .deb checks need cpack and dpkg-shlibdeps (package dpkg-dev)"
  else
    (cd "$build" && cpack -G DEB -B "$work/deb" > "$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; fail "cpack"; }
    deb="$work/deb/pathlark_${version}_$(dpkg --print-architecture).deb"
    if [ ! -f "$deb" ]; then
      fail "no $(basename "$deb")"; ls "$work/deb"
    else
      dpkg-deb -c "$deb" | awk '{ print $6 }' | sed 's|^\./usr/||' | grep -v -e '/$' -e '^$' | sort > "$work/deb.list"
      diff -u "$work/expected" "$work/deb.list" || fail "the package's files differ from the layout"
      depends=$(dpkg-deb -f "$deb" Depends)
      echo "Depends: $depends"
      for want in libqt6widgets6 fonts-liberation xdg-utils; do
        grep -qw -- "$want" <<< "$depends" || fail "Depends lacks $want"
      done
      # The help viewer and the browser are suggested, never required or recommended.
      [ "$(dpkg-deb -f "$deb" Suggests)" = "xchm | kchmviewer, www-browser" ] || fail "Suggests is '$(dpkg-deb -f "$deb" Suggests)'"
      [ -z "$(dpkg-deb -f "$deb" Recommends)" ] || fail "the package recommends packages"
      # Only run-time packages: shared libraries, the fonts, xdg-open; nothing for building.
      tr ',|' '\n\n' <<< "$depends" | sed 's/([^)]*)//; s/[[:space:]]//g' | grep -v '^$' > "$work/names"
      grep -vE '^(lib[a-z0-9.+-]+|fonts-liberation|xdg-utils)$' "$work/names" > "$work/odd" || true
      grep -E -- '-dev$' "$work/names" >> "$work/odd" || true
      [ -s "$work/odd" ] && { fail "Depends names packages that are not run-time ones:"; cat "$work/odd"; }
      if command -v lintian > /dev/null; then
        start=$SECONDS
        lintian --no-cfg --display-info "$deb" > "$work/lintian.log" 2>&1 || true
        grep -v '^N: ' "$work/lintian.log" | grep -v 'running with root privileges' || true
        echo "lintian took $((SECONDS - start)) s"
        grep -q '^[EW]: ' "$work/lintian.log" && fail "lintian reports errors or warnings"
      else
        echo "SKIP: lintian not installed"
      fi
    fi
  fi
fi

if [ $failures -gt 0 ]; then
  echo "$failures check(s) failed"
  exit 1
fi
echo "package layout, manifest${deb_too:+ and .deb} checked"
