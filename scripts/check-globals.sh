#!/usr/bin/env bash
# Refuses a name that the public headers declare outside every namespace and docs/names.md does not give,
# in its C++ column, as a global one.
#
# usage: scripts/check-globals.sh [INCLUDE_ROOT]     default: this tree
set -euo pipefail
cd "$(dirname "$0")/.."

mkdir -p build
ours='isExpansionInFileMatching("BeaconSDK/(Classes|Platform|KSBeaconSDK.h)")'
scripts/public-headers.sh | sed 's/.*/#include "&"/' >build/every-header.cpp
clang-query-14 build/every-header.cpp -c 'set output dump' \
  -c "match namedDecl(hasParent(translationUnitDecl()), $ours, unless(namespaceDecl()))" \
  -- -std=c++20 -I "${1:-.}" |
  grep -E '^[A-Z][A-Za-z]*Decl 0x' | grep -v '^ParmVarDecl' |
  sed -E "s/ '.*//; s/ definition$//; s/.* //" | sort -u >build/global-names
[ -s build/global-names ] || { echo "globals: no names were found" >&2; exit 1; }

# Names in code of the second column of a table; of the first where the second explains or says "same".
awk -F'|' '/^\| name \|/ {column = 2} /^\| keyword|^\| type \|/ {column = 3}
           /^\|/ {print $3 == " same " ? $2 : $column}' docs/names.md |
  grep -oE '`[^`]*`' | grep -oP '(?<![\w:])[A-Za-z_]\w*' | sort -u >build/documented-names
unknown=$(comm -23 build/global-names build/documented-names)
[ -z "$unknown" ] && echo "globals: docs/names.md has each of $(wc -l <build/global-names) names" && exit
echo "globals: not in docs/names.md:" $unknown >&2
exit 1
