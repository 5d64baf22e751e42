#!/bin/sh
# A script sources this with its own arguments: where the first one asks for help, its header is
# printed, without the marks of comments, and it ends. Before the script goes to another folder.
case ${1:-} in
-h | --help)
    sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//;p;}' "$0"
    exit
    ;;
esac
