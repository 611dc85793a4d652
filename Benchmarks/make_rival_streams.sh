#!/bin/sh
# Makes the streams on which Vexmora and its rivals are measured: moving detail with light noise, interlaced,
# in three sizes, each as an elementary, a program and a transport stream.
# Usage: make_rival_streams.sh FOLDER [SECONDS]. What is there already is kept.
set -eu
folder=${1:?usage: make_rival_streams.sh FOLDER [SECONDS]}
seconds=${2:-12}
mkdir -p "$folder"

make() { # NAME FFMPEG-ARGUMENTS…
    name=$1
    shift
    [ -s "$folder/$name" ] && return
    ffmpeg -v error -nostdin -y "$@" "$folder/part.$name"
    mv "$folder/part.$name" "$folder/$name"
}

make_stream() { # NAME WIDTH HEIGHT BIT-RATE ASPECT
    # A camera that swings over a detailed still, with a picture of moving shapes in front: 50 fields a second.
    video="[0:v]format=yuv420p,crop=$2:$3:x='(iw-$2)/2*(1+0.95*sin(t*0.9))':y='(ih-$3)/2*(1+0.9*sin(t*0.6))',"
    video="${video}noise=alls=6:allf=t[ground];[1:v]scale=$2/3:$3/3[shapes];[ground][shapes]overlay="
    video="${video}x='W/3+W/4*sin(t*1.7)':y='H/3+H/4*cos(t*1.3)',tinterlace=interleave_top,format=yuv420p"
    make "$1.ts" -loop 1 -framerate 50 -i "$folder/still.png" -f lavfi -i testsrc2=size=640x360:rate=50 \
        -filter_complex "$video" -t "$seconds" -c:v mpeg2video -b:v "$4" -maxrate "$4" -bufsize 9M -g 15 -bf 2 \
        -flags +ildct+ilme -aspect "$5" -f mpegts
    make "$1.m2v" -i "$folder/$1.ts" -c copy -f mpeg2video
    make "$1.mpg" -i "$folder/$1.ts" -c copy -muxrate 30000000 -f vob
}

make still.png -f lavfi -i \
    mandelbrot=size=2880x1620:rate=1:maxiter=900:start_scale=0.02:start_x=-0.743643:start_y=0.131825 -frames:v 1
make_stream 1920x1080 1920 1080 18M 16/9
make_stream 1440x1080 1440 1080 25M 16/9
make_stream 720x576 720 576 6M 4/3
