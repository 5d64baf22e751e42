#!/bin/sh
# A script sources this with its own arguments, before it changes folders: if the first one asks for
# help, its header is printed, without the comment marks, and it ends.
case ${1:-} in
-h | --help)
    sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//;p;}' "$0"
    exit
    ;;
esac
