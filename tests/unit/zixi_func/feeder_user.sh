#!/bin/sh
# feeder_user.sh PROGRAM FOLDER_OF_THE_STANDIN FOLDER_OF_THE_OTHER_LIBRARY
# One and the same program uploads through the stand-in, and, with another libzixiFeeder.so put in its place, through
# that one.
set -eu
program=$1
standin=$2
other=$3
box=$(mktemp -d)
trap 'rm -rf "$box"' EXIT
printf 'forty-two bytes that are to be uploaded.\n!' >"$box/film.ts"
unset ZIXI_FEEDER_RATE ZIXI_FEEDER_USER ZIXI_FEEDER_PASSWORD ZIXI_FEEDER_TOTAL ZIXI_FEEDER_FAIL
export ZIXI_FEEDER_DIR="$box/server"

shows() # shows WHAT: it is in the output
{
    grep -qF -- "$1" "$box/out" || { echo "lacks: $1"; cat "$box/out"; exit 1; }
}

before=$(sha256sum "$program")
LD_LIBRARY_PATH=$standin "$program" "$box/film.ts" >"$box/out"
shows 'zixi_func(180): libZixifeeder/0.1.0.0'
shows 'joined 0 result 0 error 0 sent 42 of 42'
cmp "$box/film.ts" "$box/server/in/box/film.ts"

rm -r "$box/server"
LD_LIBRARY_PATH=$other "$program" "$box/film.ts" >"$box/out"
shows 'zixi_func(180): libZixifeeder/9.8.7.6'
shows 'other feeder: ann/sesame'
shows "other feeder: $box/film.ts to zixi.test in in/box"
shows 'other feeder: 0-7 28 08 00 00 96 05 00 00'
zeros='00 00 00 00 00 00 00 00'
shows "other feeder: 16-71 $zeros 80 f0 fa 02 00 00 00 00 00 00 00 00 03 00 00 00 00 00 00 00 00 01 00 00 $zeros $zeros $zeros"
shows 'zixi_func(731): Uploaded: 75% 4500MB/6000MB'
shows 'other feeder: closed'
shows 'joined 0 result 0 error 0 sent 6000000000 of 6000000000'
[ ! -e "$box/server" ] || { echo "the stand-in was used as well"; exit 1; }
[ "$before" = "$(sha256sum "$program")" ]
