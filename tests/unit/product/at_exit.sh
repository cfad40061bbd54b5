#!/bin/sh
# at_exit.sh FILE: succeeds if the program registers nothing to run at its exit, neither by atexit() nor by a static object
# with a destructor.
set -eu
symbols=$(readelf -W --dyn-syms "$1" | awk '$7 == "UND" { sub("@.*", "", $8); print $8 }')
echo "$symbols" | grep -qx main || echo "$symbols" | grep -q '^__libc_start_main' || {
    echo "at_exit: no symbols of a program in $1" >&2 && exit 2
}
if echo "$symbols" | grep -x -e __cxa_atexit -e atexit -e __aeabi_atexit -e on_exit; then
    exit 1
fi
