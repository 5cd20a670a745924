#!/bin/sh
# check-package.sh SOURCE BUILD: makes the packages and lets Debian's and the desktops' own judges look at them.
# Ends with 77 where a judge is missing.
set -eu
source=$1 build=$2
fail() { echo "$1" >&2; exit 1; }
for tool in dpkg-deb dpkg-shlibdeps lintian desktop-file-validate appstreamcli update-mime-database gzip; do
    command -v "$tool" >/dev/null || { echo "there is no $tool" >&2; exit 77; }
done
work=$build/package-test
rm -rf "$work"
mkdir -p "$work"
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work" >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log"; exit 1; }
rm -rf "$work/_CPack_Packages"

lintian --allow-root --fail-on error,warning "$work"/*.deb >"$work/lintian.log" 2>&1 || { cat "$work/lintian.log"; exit 1; }
for package in vitrel libfeedkit1 libfeedkit-dev; do
    dpkg-deb -x "$work/${package}"_*.deb "$work/$package"
    dpkg-deb -I "$work/${package}"_*.deb >"$work/$package.info"
done
root=$work/vitrel/usr
for need in libegl1 libgl1 libvips42 libqt6widgets6; do
    grep -q "Depends:.*\b$need\b" "$work/vitrel.info" || fail "the package doesn't ask for $need"
done
grep -q "Depends: libfeedkit1 (= " "$work/libfeedkit-dev.info" || fail "the development package doesn't ask for its library"
for name in expat icu curl simdjson; do
    grep -q "Depends:.*$name" "$work/libfeedkit1.info" || fail "the library doesn't ask for $name"
done
if grep -q "postinst\|postrm\|prerm\|preinst" "$work/vitrel.info"; then fail "the package runs scripts"; fi
if grep -rlaF -e "$source" -e "$build" "$work/vitrel" "$work/libfeedkit1" "$work/libfeedkit-dev"; then fail "these name the build"; fi
[ "$(readlink -e "$root/libexec/xscreensaver/vitrel")" = "$(readlink -e "$root/bin/vitrel")" ] || fail "the link leads nowhere"

for file in "$root"/share/applications/*.desktop "$root"/share/applications/screensavers/*.desktop \
    "$root"/share/doc/vitrel/examples/*.desktop; do
    complaints=$(desktop-file-validate --warn-kde "$file" 2>&1) || fail "$complaints"
    [ -z "$complaints" ] || fail "$complaints"
done
# It knows only installed files of the whole tree by their places.
appstreamcli validate --no-net "$root"/share/metainfo/*.xml || fail "appstreamcli complains"
appstreamcli validate-tree --no-net "$work/vitrel" || fail "appstreamcli complains of the tree"
XDG_DATA_DIRS=$root/share update-mime-database "$root/share/mime" >"$work/mime.log" 2>&1 || fail "the MIME type is refused"
[ ! -s "$work/mime.log" ] || fail "$(cat "$work/mime.log")"
grep -q 'application/x-quartzcomposer:\*\.qtz' "$root/share/mime/globs2" || fail "the MIME type has no pattern"
for size in 48 128 256; do
    file "$root/share/icons/hicolor/${size}x$size/apps/org.vitrel.Vitrel.png" | grep -q "PNG image data, $size x $size," ||
        fail "the icon of $size isn't"
done

# As a file manager makes a picture: no network, no bus, no home, and nothing of the build.
thumbnail=$(sed -n 's/^Exec=//p' "$root/share/thumbnailers/vitrel.thumbnailer")
thumbnail=$(echo "$thumbnail" | sed "s|^vitrel|$root/bin/vitrel|; s|%s|256|g; s|%o|'$work/thumbnail.png'|;
    s|%i|'$root/share/vitrel/Muralis RSS Almanac.qtz'|")
cage="env -i HOME=/nonexistent PATH=/usr/bin:/bin"
if unshare --net --user true 2>/dev/null; then cage="unshare --net --user $cage"; fi
began=$(date +%s)
eval "$cage $thumbnail" || fail "no thumbnail"
[ $(($(date +%s) - began)) -le 10 ] || fail "the thumbnail took more than ten seconds"
file "$work/thumbnail.png" | grep -q "PNG image data, 256 x 144," || fail "the thumbnail isn't one"
