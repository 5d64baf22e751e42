#!/bin/sh
# What an administrator would write in the shell instead of calling Tamsel.
#
# usage: bench/peer.sh STATEMENT STATEMENT RESOURCE
configuration="/Library/Application Support/Adobe/Extension Manager CC/Configuration"
database=$configuration/DB/ExMan.db

insert() {
    if sqlite3 "$database" "$2"; then
        set -- "$1" 101 succeeded true
    else
        set -- "$1" 1 failed false
    fi
    printf 'Return code after executing SQL: %s\n\n' "$2"
    printf 'Finalized statemant: 0\n\nClosed database: 0\n\n'
    printf '%s execution: %s\n\n%s %s\n\n' "$1" "$3" "$1" "$4"
}

[ -r "$database" ] || exit 1
printf 'Three parameters\n\n-r command found\n\nFile name found: Adobe InDesign 2020\n\n'
insert InsertProductInfo "$1"
insert InsertXManConfig "$2"
printf '\nThe application was successfully registrated\n\n'
cp "$3" "$configuration"
