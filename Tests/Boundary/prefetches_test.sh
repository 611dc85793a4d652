#!/bin/sh
# Whether the library prefetches references at all scales: compilers have dropped it without a word.
# Usage: prefetches_test.sh LIBRARY
set -eu
for scale in 0 1 2; do
    found=$(objdump -d --no-show-raw-insn "$1" | c++filt | awk -v scale="MotionCompensation<(Vexmora::DecodeScale)$scale>" \
        '/^[0-9a-f]+ </ { here = index($0, scale) } here && /prefetch|prfm/ { ++count } END { print count + 0 }')
    echo "decode scale $scale: $found prefetches"
    [ "$found" -ge 6 ]
done
