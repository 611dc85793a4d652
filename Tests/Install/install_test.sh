#!/bin/sh
# Installs the build into a folder, moves that, and uses it from there: the command, its manual page, and programs
# that find it by CMake and by pkg-config, which give the same answer.
# Usage: install_test.sh BUILD SOURCE WORK
set -eu
build=$1 source=$2 work=$3
sample=$source/Samples/frame-numbers.ts
rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/staged" >/dev/null
ls "$source/include/Vexmora" | while read -r header; do [ -s "$work/staged/include/Vexmora/$header" ]; done
mv "$work/staged" "$work/moved"
prefix=$work/moved
export XDG_CACHE_HOME="$work/cache" MANPATH="$prefix/share/man"
"$prefix/bin/vexmora" check -q "$sample"
[ -s "$prefix/share/man/man1/vexmora.1" ]
[ -s "$(find "$prefix/share/doc" -name LICENSE)" ]

cmake -S "$source/Examples/mean_luma" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/by-cmake" >/dev/null
"$work/by-cmake/mean_luma" "$sample" >"$work/by-cmake.txt"
[ "$(wc -l <"$work/by-cmake.txt")" -gt 100 ]

pc=$(dirname "$(find "$prefix" -name vexmora-host.pc)")
flags=$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs vexmora-host)
# shellcheck disable=SC2086 # several flags
c++ -std=c++20 "$source/Examples/mean_luma/main.cpp" -o "$work/by-pkg-config" $flags
LD_LIBRARY_PATH=$(dirname "$pc") "$work/by-pkg-config" "$sample" | cmp - "$work/by-cmake.txt"

# Programs in C by both compilers, and what loads the library as it runs.
"$prefix/bin/vexmora" frame -q "$sample" 42 -o "$work/command.yuv" >"$work/written.txt"
for cc in gcc clang; do
    # shellcheck disable=SC2086 # several flags
    $cc -std=c11 -Wall -Wextra -Wpedantic -Werror "$source/Examples/write_frame.c" -o "$work/by-$cc" $flags
    LD_LIBRARY_PATH=$(dirname "$pc") "$work/by-$cc" "$sample" 42 >"$work/$cc.yuv" 2>"$work/$cc.txt"
    cmp "$work/$cc.yuv" "$work/command.yuv"
done
python3 "$source/Tests/C/ctypes_test.py" "$(dirname "$pc")/libvexmora_host.so" "$prefix/bin/vexmora" "$sample" "$work"

# From Python.
packages=$prefix/lib/python3/dist-packages
if [ -d "$packages" ]; then
    PYTHONPATH=$packages /usr/bin/python3 -B -c "import sys, vexmora
frame = vexmora.open(sys.argv[1])[42]
sys.stdout.buffer.write(b''.join(map(bytes, (frame.y, frame.u, frame.v))))" "$sample" | cmp - "$work/command.yuv"
fi

# Of the host, programs see what its headers declare and nothing of SQLite or of its insides.
symbols=$(nm -DC --defined-only "$(dirname "$pc")"/libvexmora_host.so | cut -c 20-)
if printf '%s\n' "$symbols" | grep -vE '^vexmora_[a-z_]+$|^((typeinfo|typeinfo name|vtable) for )?VexmoraHost::(Error|FrameRun|Library|Movie|DropBlocks|DropFrames)\b'; then
    echo "exported, but not declared for programs" >&2
    exit 1
fi
echo "installed, moved, used"
