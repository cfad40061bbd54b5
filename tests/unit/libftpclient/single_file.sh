#!/bin/sh
# single_file.sh SOURCE FOLDER
# The library as two files to copy: they compile alone and without a warning, as C11 and as C++17, with both compilers,
# and each of the four programs runs a job.
set -eu
source=$1
folder=$2
here=$source/tests/unit/libftpclient
rm -rf "$folder"
mkdir -p "$folder"
"$source/scripts/single-file" "$folder"
[ "$(cd "$folder" && echo *)" = "ftpclient.c ftpclient.h" ] || { echo "more or less than two files" && exit 1; }
! grep -n '#include "' "$folder/ftpclient.c" | grep -v '"ftpclient.h"' || { echo "includes more" && exit 1; }
! grep -n '#include "' "$folder/ftpclient.h" || { echo "includes more" && exit 1; }

# wire/ alone defines the layout of records: each of them must be there, with its pins, and the library must have no
# offsets of its own.
for header in control job_status notice result_codes transfer_request; do
    grep -E '^ *(WIRE_FIELD|WIRE_SIZE)\(|^typedef struct' "$source/wire/$header.h" >"$folder/pins" || continue
    grep -Fxv -f "$folder/ftpclient.c" "$folder/pins" && { echo "$header.h is not in it whole" && exit 1; }
done
offsets='512|768|1024|1028|1060|1092|1156|1284|1288|1292|1548|1552|1556|1560|1561|1817|2076|2080'
! grep -nwE "$offsets" "$source"/libftpclient/*.c "$source"/libftpclient/[!f]*.h "$source"/libftpclient/ftpc.h ||
    { echo "offsets of its own" && exit 1; }

cd "$folder"
g++ -std=c++20 -D_GNU_SOURCE -I. -I"$source/tests/unit/ftpctl" -I"$source/tests/unit" -I"$source" -c "$here/single_file.cpp" -o program.o
g++ -std=c++20 -D_GNU_SOURCE -I"$source/tests/unit" -I"$source" -c "$source/tests/unit/ftpctl/fake_daemon.cpp" -o daemon.o
compile() { # NAME COMPILER OPTION...
    name=$1
    shift
    echo "$name"
    mkdir "$name" # holds nothing else of the project
    cp ftpclient.c ftpclient.h "$name"
    (cd "$name" && "$@" -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -O2 -c ftpclient.c -o ftpclient.o)
    g++ program.o daemon.o "$name/ftpclient.o" -pthread -o "$name/program"
    "$name/program"
}
compile gcc-c11 gcc -std=c11
compile gcc-c++17 g++ -std=c++17 -x c++
command -v clang >/dev/null || { echo "there is no clang: not tried with it" && exit 77; }
compile clang-c11 clang -std=c11
compile clang-c++17 clang++ -std=c++17 -x c++
