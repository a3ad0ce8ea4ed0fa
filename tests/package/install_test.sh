#!/usr/bin/env bash
# Installs the build into a temporary prefix and uses it as a caller would:
# the installed files, the installed converter finding the installed library,
# and the example built and run through the CMake package and through
# pkg-config with cc.
#   install_test.sh CMAKE BUILD_DIR SOURCE_DIR VERSION LIBDIR GENERATOR
set -euo pipefail
cmake=$1 build=$2 src=$3 version=$4 libdir=$5 generator=$6
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
prefix=$tmp/prefix
sample=$src/tests/data/cam_captured_protocol1.uper.hex
wire=$(tr -d ' \n' <"$sample")

"$cmake" --install "$build" --prefix "$prefix" >/dev/null

# Exactly these files (the exported targets' per-configuration file named
# apart from its build type).
(cd "$prefix" && find . ! -type d | sed 's|^\./||; s|itscodecTargets-.*\.cmake|itscodecTargets-CONFIG.cmake|' | sort) >"$tmp/files"
sort >"$tmp/expected" <<LIST
bin/itsconv
include/itscodec.h
$libdir/cmake/itscodec/itscodecConfig.cmake
$libdir/cmake/itscodec/itscodecConfigVersion.cmake
$libdir/cmake/itscodec/itscodecTargets-CONFIG.cmake
$libdir/cmake/itscodec/itscodecTargets.cmake
$libdir/libitscodec.so
$libdir/libitscodec.so.0
$libdir/libitscodec.so.$version
$libdir/pkgconfig/itscodec.pc
share/doc/itscodec/CHANGELOG.md
share/doc/itscodec/LICENSE
share/man/man1/itsconv.1
LIST
diff -u "$tmp/expected" "$tmp/files" || fail "installed files differ from the list"
[ "$(readlink "$prefix/$libdir/libitscodec.so")" = libitscodec.so.0 ] || fail "libitscodec.so link"
[ "$(readlink "$prefix/$libdir/libitscodec.so.0")" = "libitscodec.so.$version" ] ||
  fail "libitscodec.so.0 link"
objdump -p "$prefix/$libdir/libitscodec.so.$version" | grep -q 'SONAME *libitscodec\.so\.0$' ||
  fail "SONAME is not libitscodec.so.0"

# The installed converter runs on its own and loads the installed library.
loaded=$(ldd "$prefix/bin/itsconv" | awk '$1 == "libitscodec.so.0" { print $3 }')
[ "$(readlink -f "$loaded")" = "$(readlink -f "$prefix/$libdir/libitscodec.so.0")" ] ||
  fail "installed itsconv loads the library from '$loaded'"
back=$(env -u LD_LIBRARY_PATH "$prefix/bin/itsconv" CAM to-json "$sample" |
       env -u LD_LIBRARY_PATH "$prefix/bin/itsconv" CAM from-json)
[ "$back" = "$wire" ] || fail "installed itsconv round trip gave $back"

# The example through find_package, warnings as errors.
"$cmake" -S "$src/examples" -B "$tmp/example" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_FLAGS="-Wall -Wextra -Wpedantic -Werror" >"$tmp/log" 2>&1 || { cat "$tmp/log"; fail "example configure"; }
grep -q "^itscodec_DIR:PATH=$prefix/$libdir/cmake/itscodec$" "$tmp/example/CMakeCache.txt" ||
  fail "find_package did not take the package of the prefix"
"$cmake" --build "$tmp/example" >"$tmp/log" 2>&1 || { cat "$tmp/log"; fail "example build"; }
"$tmp/example/cam_roundtrip" >"$tmp/out" 2>"$tmp/err" || { cat "$tmp/err"; fail "example (CMake) failed"; }
grep -q "^itscodec $version, a CAM of $(( ${#wire} / 2 )) bytes$" "$tmp/err" || fail "example header line"
grep -q "^JSON round trip: same bytes$" "$tmp/err" || fail "JSON round trip"
grep -q "^XML round trip: same bytes$" "$tmp/err" || fail "XML round trip"
diff <("$prefix/bin/itsconv" CAM to-json "$sample"; "$prefix/bin/itsconv" CAM to-xml "$sample") \
  "$tmp/out" >/dev/null || fail "example's texts differ from the converter's"

# The same program through pkg-config and cc, from the sample file.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
[ "$(pkg-config --modversion itscodec)" = "$version" ] || fail "pkg-config version"
cc -Wall -Wextra -Werror $(pkg-config --cflags itscodec) "$src/examples/cam_roundtrip.c" \
  $(pkg-config --libs itscodec) -o "$tmp/cam_roundtrip_pc" || fail "cc with pkg-config flags"
LD_LIBRARY_PATH=$prefix/$libdir "$tmp/cam_roundtrip_pc" "$sample" >"$tmp/out_pc" 2>"$tmp/err" ||
  { cat "$tmp/err"; fail "example (pkg-config) failed"; }
cmp -s "$tmp/out" "$tmp/out_pc" || fail "the two builds of the example print different texts"

# A damaged message fails with a status, and the example says so.
echo "0102" >"$tmp/short.hex"
if LD_LIBRARY_PATH=$prefix/$libdir "$tmp/cam_roundtrip_pc" "$tmp/short.hex" >/dev/null 2>"$tmp/err"; then
  fail "the example accepted a 2-byte CAM"
fi
grep -q "failed with status -" "$tmp/err" || fail "no status for a 2-byte CAM"
echo "install, find_package and pkg-config: passed"
