#!/bin/sh
# Sourced by the shell scripts: --help prints the comment at the script's head and exits.
case ${1-} in
-h | --help)
    sed -n '2,${/^#/!q;s/^# \{0,1\}//p;}' "$0"
    exit
    ;;
esac
