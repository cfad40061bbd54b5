#!/bin/sh
# exports.sh LIBRARY SONAME FUNCTION...
# Succeeds if the library has this soname and exports exactly these functions.
set -eu
library=$1
soname=$2
shift 2
wanted=$(printf '%s\n' "$@" | LC_ALL=C sort)
exported=$(nm -D --defined-only "$library" | awk '{ print $NF }' | LC_ALL=C sort)
named=$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')
[ "$named" = "$soname" ] || { echo "soname is '$named', not '$soname'"; exit 1; }
[ "$exported" = "$wanted" ] || { printf 'exported:\n%s\nwanted:\n%s\n' "$exported" "$wanted"; exit 1; }
