#!/bin/sh
# libc.sh VERSION FILE...: prints which glibc each file needs; succeeds if none needs a newer one than VERSION.
set -eu
most=$1
shift
bad=0
for file in "$@"; do
    versions=$(readelf -VW "$file")
    if echo "$versions" | grep -qx 'No version information found in this file.'; then
        echo "${file##*/} needs no glibc"
        continue
    fi
    needed=$(echo "$versions" | grep -o 'GLIBC_[0-9][0-9.]*' | sed 's/GLIBC_//' | sort -Vu | tail -n 1)
    echo "${file##*/} needs glibc ${needed:?it names none}"
    [ "$(printf '%s\n' "$most" "$needed" | sort -V | tail -n 1)" = "$most" ] || bad=1
done
exit $bad
