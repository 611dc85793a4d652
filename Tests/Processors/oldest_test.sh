#!/bin/sh
# On the oldest processor that each dispatch table is for, emulated: the primitives that it can run are those of the
# portable code, and frames are those of this machine. An instruction too new for its table ends the program.
# Usage: oldest_test.sh PRIMITIVES_TESTS COMMAND STREAMS WORK
set -eu
primitives=$1 command=$2 streams=$3 work=$4
rm -rf "$work"
mkdir -p "$work"
frames() { XDG_CACHE_HOME=$work/cache "$@" hash -q "$streams/b3-100x76.ts"; }
frames "$command" >"$work/here"
for processor in qemu64 SandyBridge Haswell; do
    echo "$processor"
    qemu-x86_64 -cpu "$processor" "$primitives" --gtest_brief=1 --gtest_filter="Table/VariantCheck*"
    frames qemu-x86_64 -cpu "$processor" "$command" | cmp - "$work/here"
done
