#!/bin/sh
# Installs the build into a new prefix for the tests of the installed package.
# usage: install.sh BUILD_DIR PREFIX
set -eu
rm -rf "$2"
cmake --install "$1" --prefix "$2"
