#!/bin/sh
# Makes the streams that the benchmarks read: about 300 MB of 1920x1080 video, elementary and packed.
# Usage: make_streams.sh FOLDER. What is there already is kept.
set -eu
folder=${1:?usage: make_streams.sh FOLDER}
mkdir -p "$folder"

make() { # NAME FFMPEG-ARGUMENTS…
    name=$1
    shift
    [ -s "$folder/$name" ] && return
    ffmpeg -v error -nostdin -y "$@" "$folder/$name.part"
    mv "$folder/$name.part" "$folder/$name"
}

make large.ts -f lavfi -i testsrc2=size=1920x1080:rate=25,noise=alls=12:allf=t \
    -f lavfi -i sine=frequency=440:sample_rate=48000 -t 33 -c:v mpeg2video -b:v 80M -maxrate 80M -bufsize 16M \
    -g 12 -bf 2 -threads 2 -c:a mp2 -b:a 192k -f mpegts
make large.m2v -i "$folder/large.ts" -map 0:v -c copy -f mpeg2video
make large.mpg -i "$folder/large.ts" -map 0 -c copy -muxrate 90000000 -f vob
