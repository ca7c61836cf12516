#!/bin/sh
# The shared library shows the names that its public headers export, all of them and no others.
# Usage: exported_names_test.sh LIBRARY HEADER_FOLDER
set -eu
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT

# What stands before the first parenthesis behind the mark of an export.
cat "$2"/*.hpp | sed '/^#/d; s,//.*,,' | tr '\n' ' ' | grep -o 'POLEFIT_EXPORT [^(;]*(' |
  sed 's/.*[ &*]\([A-Za-z_0-9]*\)($/\1/' | sort -u >"$place/declared"
nm -D --defined-only -C "$1" | cut -d' ' -f3- |
  sed -E 's/^(typeinfo|typeinfo name|vtable) for //; s/^polefit::([A-Za-z_0-9]+)(\[abi:[a-z0-9]*\])?(\(.*)?$/\1/' |
  sort -u >"$place/shown"

[ -s "$place/declared" ] || { echo "no exported name found in $2" >&2; exit 1; }
diff "$place/declared" "$place/shown" || { echo "< declared in the headers only, > shown by the library only" >&2; exit 1; }
