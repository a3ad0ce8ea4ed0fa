#!/usr/bin/env bash
# Builds the Debian package with CPack and checks it without installing it:
# its control fields, that every library its programs need is covered by its
# Depends, its file list, and the converter run from the unpacked tree.
#   deb_test.sh CPACK BUILD_DIR SOURCE_DIR VERSION
set -euo pipefail
cpack=$1 build=$2 src=$3 version=$4
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
sample=$src/tests/data/cam_captured_protocol1.uper.hex
wire=$(tr -d ' \n' <"$sample")

(cd "$build" && "$cpack" -G DEB -B "$tmp/out" >"$tmp/log" 2>&1) || { cat "$tmp/log"; fail "cpack"; }
deb=$tmp/out/itscodec_${version}_$(dpkg --print-architecture).deb
[ -f "$deb" ] || fail "no $deb: $(ls "$tmp/out")"

field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = itscodec ] || fail "Package: $(field Package)"
[ "$(field Version)" = "$version" ] || fail "Version: $(field Version)"
depends=$(field Depends)
[ -n "$depends" ] || fail "no Depends"

dpkg -x "$deb" "$tmp/root"
root=$tmp/root
for f in usr/bin/itsconv usr/include/itscodec.h usr/lib/libitscodec.so.$version \
         usr/lib/libitscodec.so.0 usr/lib/libitscodec.so usr/share/man/man1/itsconv.1 \
         usr/lib/pkgconfig/itscodec.pc usr/lib/cmake/itscodec/itscodecConfig.cmake \
         usr/share/doc/itscodec/LICENSE; do
  [ -e "$root/$f" ] || fail "missing /$f"
done
[ "$(ls "$root/usr/include")" = itscodec.h ] || fail "headers: $(ls "$root/usr/include")"
if find "$root" -name '*.a' | grep -q .; then fail "a static library in the package"; fi

# Each library the programs load (but their own) comes from a package that
# Depends names.
for elf in "$root/usr/bin/itsconv" "$root/usr/lib/libitscodec.so.$version"; do
  for lib in $(objdump -p "$elf" | awk '$1 == "NEEDED" { print $2 }'); do
    [ "$lib" = libitscodec.so.0 ] && continue
    path=$(ldconfig -p | awk -v l="$lib" '$1 == l { print $NF; exit }')
    [ -n "$path" ] || fail "$lib not found on this machine"
    pkg=$(dpkg -S "$(readlink -f "$path")" 2>/dev/null | head -1 | cut -d: -f1) ||
      pkg=$(dpkg -S "$path" | head -1 | cut -d: -f1)
    tr ',|' '\n\n' <<<"$depends" | awk '{ print $1 }' | grep -Fxq "$pkg" ||
      fail "$lib is in $pkg, not in Depends: $depends"
  done
done

# Other packages linking the library get their dependency from its shlibs.
dpkg-deb -e "$deb" "$tmp/control"
grep -q "^libitscodec 0 itscodec" "$tmp/control/shlibs" || fail "shlibs: $(cat "$tmp/control/shlibs")"

# The unpacked converter finds the unpacked library through its run path.
loaded=$(ldd "$root/usr/bin/itsconv" | awk '$1 == "libitscodec.so.0" { print $3 }')
[ "$(readlink -f "$loaded")" = "$(readlink -f "$root/usr/lib/libitscodec.so.0")" ] ||
  fail "unpacked itsconv loads the library from '$loaded'"
back=$(env -u LD_LIBRARY_PATH "$root/usr/bin/itsconv" CAM to-xml "$sample" |
       env -u LD_LIBRARY_PATH "$root/usr/bin/itsconv" CAM from-xml)
[ "$back" = "$wire" ] || fail "unpacked itsconv round trip gave $back"
echo "$(basename "$deb"): Depends: $depends"
