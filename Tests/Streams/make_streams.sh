#!/usr/bin/env bash
# Makes the set of real-encoder streams that the tests index and decode, with what ffprobe says about each.
#
# make_streams.sh OUTDIR: for every stream NAME it writes
#   NAME            the stream itself (.m2v elementary, .vob/.mpg program, .ts transport; refused-* must be refused)
#   NAME.pictures   a line per frame in display order: pict_type,interlaced_frame,top_field_first,repeat_pict
#   NAME.facts      key=value: width height sample_aspect_ratio field_order r_frame_rate
# What exists is kept; the stream is renamed into place last, so a stream that exists is complete.
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: make_streams.sh OUTDIR" >&2; exit 2; }
for tool in ffmpeg ffprobe mpeg2enc mplex; do
    command -v "$tool" >/dev/null || { echo "make_streams.sh: $tool not found (install ffmpeg and mjpegtools)" >&2; exit 1; }
done
out=$1
mkdir -p "$out"
work=$(mktemp -d "$out/.work.XXXXXX")
trap 'rm -rf "$work"' EXIT

. "$(dirname "$0")/encoders.bash"

# stream NAME COMMAND…: runs the command with the output path appended, unless the stream exists.
stream() {
    local name=$1; shift
    if [ ! -f "$out/$name" ]; then
        "$@" "$work/$name"
        quiet ffprobe -v error -select_streams v:0 -show_entries \
            stream=width,height,sample_aspect_ratio,field_order,r_frame_rate -of default=nw=1 "$work/$name"
        sort -u "$work/log" >"$out/$name.facts"
        quiet ffprobe -v error -threads 1 -select_streams v:0 -show_entries \
            frame=interlaced_frame,pict_type,repeat_pict,top_field_first -of csv=p=0 "$work/$name"
        sed -n 's/^\([IPB],[01],[01],[0-9]\).*/\1/p' "$work/log" >"$out/$name.pictures"
        mv "$work/$name" "$out/$name"
    fi
    echo "$name: $(stat -c %s "$out/$name") bytes, $(wc -l <"$out/$name.pictures") pictures"
}

sound=(-f lavfi -i "sine=frequency=440:sample_rate=48000")

# encode_av SOURCE SECONDS ENCODER-OPTIONS… OUTPUT: the same with a tone.
encode_av() {
    local source=$1 seconds=$2; shift 2
    quiet ffmpeg -nostdin -y -f lavfi -i "$source" "${sound[@]}" -t "$seconds" -pix_fmt yuv420p \
        -c:v mpeg2video "${exact[@]}" "$@"
}
# multiplex FORMAT VIDEO SECONDS OUTPUT: with mplex; no audio for 0 seconds.
multiplex() {
    local tracks=("$out/$2")
    if [ "$3" != 0 ]; then
        quiet ffmpeg -nostdin -y "${sound[@]}" -t "$3" -c:a mp2 -b:a 128k "${exact[@]}" "$work/tone.mp2"
        tracks+=("$work/tone.mp2")
    fi
    quiet mplex -v 0 -f "$1" -o "$4" "${tracks[@]}"
}
# from_second_sequence INPUT OUTPUT: cuts an elementary stream so that it starts with an open GOP.
from_second_sequence() {
    local at
    at=$(LC_ALL=C grep -obUaP '\x00\x00\x01\xb3' "$out/$1" | LC_ALL=C cut -d: -f1 | sed -n 2p)
    tail -c "+$((at + 1))" "$out/$1" >"$2"
}
# copy_from INPUT SECONDS OPTIONS… OUTPUT: remultiplexes from a later GOP on.
copy_from() {
    local input=$1 seconds=$2; shift 2
    quiet ffmpeg -nostdin -y -ss "$seconds" -i "$out/$input" -c copy "${exact[@]}" "$@"
}

# Elementary streams: 0 to 3 B pictures, open and closed GOPs, sizes, rates, field orders, 3:2 pulldown.
# (mpeg2enc codes fields and pulldown only for heights that are multiples of 32.)
stream ip-64x48.m2v            encode testsrc2=s=64x48:r=25 4 -g 10 -bf 0 -q:v 4
stream b1-100x76.m2v           encode mandelbrot=s=100x76:r=30000/1001 3 -g 12 -bf 1 -q:v 3
stream b2-open-352x288.m2v     encode testsrc2=s=352x288:r=25 4 -g 12 -bf 2 -q:v 5 -aspect 16:9
stream b3-closed-352x240.m2v   encode testsrc2=s=352x240:r=60000/1001 2 -g 16 -bf 3 -flags +cgop+bitexact -sc_threshold 1000000000 -q:v 5
stream intra-176x144.m2v       encode testsrc2=s=176x144:r=50,noise=alls=20:all_seed=7 2 -g 1 -q:v 8
stream top-720x576.m2v         encode testsrc2=s=720x576:r=25 2 -g 12 -bf 2 -flags +ildct+ilme+bitexact -top 1 -b:v 5M
stream bottom-720x480.m2v      encode testsrc2=s=720x480:r=30000/1001 2 -g 15 -bf 2 -flags +ildct+ilme+bitexact -top 0 -b:v 5M
# An odd number of macroblock rows, in which an interlaced sequence codes one row more, moving both ways.
stream odd-up-352x240.m2v      encode "testsrc2=s=352x480:r=50,scroll=v=0.013,crop=352:240:0:100" 1 -g 12 -bf 2 -flags +ildct+ilme+bitexact -top 1 -q:v 4
stream odd-down-720x496.m2v    encode "testsrc2=s=720x1000:r=50,scroll=v=-0.02,crop=720:496:0:100" 0.6 -g 12 -bf 2 -flags +ildct+ilme+bitexact -top 0 -q:v 5
stream hd-1920x1080.m2v        encode testsrc2=s=1920x1080:r=24000/1001 0.6 -g 12 -bf 2 -q:v 6
stream jumps-320x180.m2v       encode "life=s=320x180:r=24:seed=5:ratio=0.3" 3 -g 24 -bf 2 -b_strategy 1 -q:v 6
# The colour in which the decoder paints what it cannot decode.
stream red-96x80.m2v           encode color=s=96x80:r=25,format=yuv420p,lutyuv=81:90:239 1 -g 12 -bf 2 -flags +ildct+ilme+bitexact -top 1
stream started-open.m2v        from_second_sequence b2-open-352x288.m2v
stream pulldown-352x256.m2v    mjpeg testsrc2=s=352x256:r=24000/1001 3 -f 9 -n n -p -R 2
stream enc-top-352x288.m2v     mjpeg_interlaced tff testsrc2=s=352x288:r=25 2 -f 8 -I 1 -R 2
stream enc-bottom-352x256.m2v  mjpeg_interlaced bff testsrc2=s=352x256:r=30000/1001 2 -f 8 -n n -I 1 -c -R 1
stream enc-progressive.m2v     mjpeg testsrc2=s=96x64:r=25 4 -f 3 -b 500 -I 0 -g 6 -G 15 -R 2

# As narrow and as wide as can be, one slice a picture and as many as their codes tell apart.
stream narrow-1x64.m2v         encode testsrc2=s=16x64:r=25,crop=1:64:5:0:exact=1 0.4 -g 6 -bf 2 -q:v 4
stream wide-4095x32.m2v        encode testsrc2=s=4095x32:r=25 0.4 -g 6 -bf 2 -q:v 6
stream flat-160x16.m2v         encode testsrc2=s=160x16:r=25 0.4 -g 6 -bf 2 -q:v 4
stream tall-32x2800.m2v        encode testsrc2=s=32x2800:r=25 0.4 -g 6 -bf 2 -q:v 6

# Small enough to be damaged thousands of times.
stream tiny-64x48.m2v          encode testsrc2=s=64x48:r=25 0.4 -g 5 -bf 0 -q:v 6
stream tiny-odd-96x80.m2v      encode "testsrc2=s=96x160:r=25,scroll=v=0.05,crop=96:80" 0.4 -g 9 -bf 2 -flags +ildct+ilme+bitexact -top 1 -q:v 8
stream tiny-64x48.ts           encode testsrc2=s=64x48:r=25 0.4 -g 6 -bf 1 -q:v 6 -f mpegts
stream tiny-100x76.mpg         encode testsrc2=s=100x76:r=25 0.4 -g 6 -bf 1 -q:v 8 -f svcd
stream tiny-16x16.m2v          encode testsrc2=s=16x16:r=25,noise=alls=40:allf=t:all_seed=7 0.4 -g 10 -bf 0 -flags +cgop+bitexact -sc_threshold 1000000000 -q:v 31

# Program streams: DVD-like and generic, MPEG audio, private stream 1, none.
stream dvd-720x576.vob         encode_av testsrc2=s=720x576:r=25 2 -g 12 -bf 2 -b:v 4M -c:a mp2 -f dvd
stream silent-352x288.vob      encode testsrc2=s=352x288:r=25 3 -g 12 -bf 2 -q:v 6 -f vob
stream ac3-352x288.vob         encode_av testsrc2=s=352x288:r=25 3 -g 15 -bf 1 -q:v 6 -c:a ac3 -f vob
# Several pictures of one type and temporal_reference begin in one packet.
stream packed-64x48.vob        encode testsrc2=s=64x48:r=25 4 -g 1 -q:v 20 -f vob
stream small-100x76.mpg        encode_av mandelbrot=s=100x76:r=30000/1001 3 -g 9 -bf 3 -q:v 12 -c:a mp2 -f svcd
stream mplex-dvd.vob           multiplex 8 enc-top-352x288.m2v 2
stream mplex-generic.mpg       multiplex 3 pulldown-352x256.m2v 0

# Transport streams: with and without audio, of several kinds, started in the middle.
stream silent-64x48.ts         encode testsrc2=s=64x48:r=25 4 -g 10 -bf 0 -q:v 10 -f mpegts
stream mp2-720x576.ts          encode_av testsrc2=s=720x576:r=25 2 -g 12 -bf 2 -flags +ildct+ilme+bitexact -top 1 -b:v 4M -c:a mp2 -f mpegts
stream ac3-closed-352x240.ts   encode_av testsrc2=s=352x240:r=30000/1001 3 -g 12 -bf 2 -flags +cgop+bitexact -sc_threshold 1000000000 -q:v 6 -c:a ac3 -f mpegts
stream b3-100x76.ts            encode_av mandelbrot=s=100x76:r=25 4 -g 16 -bf 3 -q:v 12 -c:a mp2 -f mpegts
stream hd-1920x1080.ts         encode_av testsrc2=s=1920x1080:r=30000/1001 2 -g 15 -bf 2 -q:v 8 -c:a mp2 -f mpegts
stream started-open.ts         copy_from mp2-720x576.ts 0.7 -f mpegts

# Streams that are not to be indexed: MPEG-1 video, MPEG-1 packs.
stream refused-mpeg1.m2v       encode testsrc2=s=64x48:r=25 1 -c:v mpeg1video -f mpeg1video
stream refused-mpeg1.mpg       encode testsrc2=s=64x48:r=25 1 -f mpeg
