#!/usr/bin/env bash
# Installs the Python package from a copy of python/ into a new virtual
# environment the way its README says (no index, the build backend from
# Debian's packages) and uses the installed copy: through ITSCODEC_LIBRARY,
# and through the system loader.
#   python_install.sh SOURCE_DIR LIBRARY VERSION
set -euo pipefail
src=$1 lib=$2 version=$3
python=/usr/bin/python3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cp -r "$src/python" "$tmp/src"
"$python" -m venv --system-site-packages "$tmp/env"
"$tmp/env/bin/pip" install --quiet --no-build-isolation --no-index --no-deps "$tmp/src"
rm -rf "$tmp/src"
cd "$tmp"
check='
import importlib.metadata, pathlib, sys
import itscodec
version, env = sys.argv[1], pathlib.Path(sys.argv[2])
here = pathlib.Path(itscodec.__file__).parent
assert env in here.parents, here
assert (here / "py.typed").is_file()
assert importlib.metadata.version("itscodec") == itscodec.__version__ == version
wire = bytes.fromhex(open(sys.argv[3]).read())
assert itscodec.from_xml("CAM", itscodec.to_xml("CAM", wire)) == wire
print(itscodec._library().path)
'
sample=$src/tests/data/cam_captured_protocol1.uper.hex
ITSCODEC_LIBRARY=$lib "$tmp/env/bin/python" -c "$check" "$version" "$tmp/env" "$sample"
env -u ITSCODEC_LIBRARY LD_LIBRARY_PATH="$(dirname "$lib")" \
  "$tmp/env/bin/python" -c "$check" "$version" "$tmp/env" "$sample"
echo "python package installed and used: passed"
