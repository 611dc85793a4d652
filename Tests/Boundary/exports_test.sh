#!/bin/sh
# The library's dynamic symbol table defines the functions that its header declares and nothing else.
# Usage: exports_test.sh LIBRARY HEADER
set -eu
declared=$(grep -oE '\bVexmora_[A-Z]\w+\(' "$2" | tr -d '(' | LC_ALL=C sort -u)
exported=$(nm -D --defined-only "$1" | awk '{print $NF}' | LC_ALL=C sort)
printf 'declared:\n%s\n\nexported:\n%s\n' "$declared" "$exported"
[ "$exported" = "$declared" ]
[ "$(echo "$exported" | wc -l)" -eq 20 ]
