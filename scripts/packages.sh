#!/bin/sh
# Sourced by scripts that use packages of the npm registry.

# Whether the packages that package-lock.json in the first folder names are in the second. A copy of
# the list there says that their installation finished.
has_packages() { cmp -s "$1/package-lock.json" "$2/installed"; }

# Installs them if they are not.
install_packages() {
    has_packages "$1" "$2" && return
    mkdir -p "$2"
    cp "$1/package.json" "$1/package-lock.json" "$2"
    npm ci --prefix "$2" --loglevel=error --no-audit --no-fund --ignore-scripts >&2
    cp "$1/package-lock.json" "$2/installed"
}
