#!/bin/sh
# Read by the shell scripts: --help prints the comment at a script's head and ends it.
case ${1-} in
-h | --help)
    sed -n '2,${/^#/!q;s/^# \{0,1\}//p;}' "$0"
    exit
    ;;
esac
