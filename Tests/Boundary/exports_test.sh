#!/bin/sh
# The library's dynamic symbol table defines the twenty exports and nothing else.
# Usage: exports_test.sh LIBRARY
set -eu
expected='Vexmora_BufferIndexerCreate
Vexmora_BufferIndexerDestroy
Vexmora_BufferIndexerDone
Vexmora_BufferIndexerScan
Vexmora_CloseFile
Vexmora_CreateIndexerFromFirstBuffer
Vexmora_GetFileInfo
Vexmora_GetFrame
Vexmora_GetFrameDependancies
Vexmora_GetFrameFromBuffer
Vexmora_GetFrameSizes
Vexmora_GetLastGoodFrame
Vexmora_GetVideoFrameOffset
Vexmora_IndexFile
Vexmora_IsFrameValid
Vexmora_OpenBufferInstance
Vexmora_OpenFile
Vexmora_OpenFileWithIndex
Vexmora_Shutdown
Vexmora_Startup'
actual=$(nm -D --defined-only "$1" | awk '{print $NF}' | LC_ALL=C sort)
if [ "$actual" != "$expected" ]; then
    printf 'expected:\n%s\nfound:\n%s\n' "$expected" "$actual" >&2
    exit 1
fi
echo "twenty exports and nothing else"
