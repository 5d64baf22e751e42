#!/bin/sh
# What an administrator would write in the shell instead of calling Tamsel.
#
# usage: bench/peer.sh STATEMENT STATEMENT RESOURCE
set -e
configuration="/Library/Application Support/Adobe/Extension Manager CC/Configuration"
database=$configuration/DB/ExMan.db

[ -r "$database" ]
sqlite3 "$database" "$1"
sqlite3 "$database" "$2"
cp "$3" "$configuration"
