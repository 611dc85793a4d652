#!/usr/bin/env bash
# Makes short elementary streams that use, each on purpose, the coding tools of two encoders.
#
# make_tool_streams.sh OUTDIR: streams CLASS-…, where the class is what the tests are run by.
# What exists is kept; the stream is renamed into place last, so a stream that exists is complete.
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: make_tool_streams.sh OUTDIR" >&2; exit 2; }
for tool in ffmpeg mpeg2enc mplex; do
    command -v "$tool" >/dev/null ||
        { echo "make_tool_streams.sh: $tool not found (install ffmpeg and mjpegtools)" >&2; exit 1; }
done
out=$1
mkdir -p "$out"
work=$(mktemp -d "$out/.work.XXXXXX")
trap 'rm -rf "$work"' EXIT
. "$(dirname "$0")/encoders.bash"

# packaged NAME COMMAND…: runs the command with the output path appended, unless it exists.
packaged() {
    local name=$1; shift
    [ ! -f "$out/$name" ] || return 0
    "$@" "$work/$name"
    mv "$work/$name" "$out/$name"
}
stream() { packaged "$1.m2v" "${@:2}"; }
copy() { quiet ffmpeg -nostdin -y -fflags +genpts -i "$out/$1" -c copy "${exact[@]}" "${@:2}"; }
multiplex() { quiet mplex -v 0 -f 3 -r 9000 -V -o "$2" "$out/$1.m2v"; }

# Sources: a test card, one that rushes past, with noise, a fractal, dots that are black or white, cuts between two
# of these, and fields of different times.
card() { echo "testsrc2=s=${1:-176x144}:r=${2:-25}"; }
rush() { echo "$(card "$@"),scroll=h=0.13:v=0.09"; }
grain() { echo "$(card "$@"),noise=alls=${noise:-30}:allf=t:all_seed=7"; }
fractal() { echo "mandelbrot=s=${1:-176x144}:r=${2:-25}:end_scale=0.01:end_pts=20"; }
dots() { echo "life=s=${1:-176x144}:r=${2:-25}:seed=5:ratio=0.3:mold=10"; }
cuts() { echo "$(card "$1")[a];$(fractal "$1")[b];[a][b]blend=all_expr=if(mod(floor(N/5)\,2)\,A\,B)"; }
fields() { echo "$1,tinterlace=interleave_top,setfield=tff"; }
half=0.52   # seconds: 13 frames at 25 a second

# Groups of pictures: none predicted, P alone, up to 4 B pictures, open and closed, of fixed and of chosen length.
stream gop-intra          encode "$(grain)" $half -g 1 -q:v 4
stream gop-p              encode "$(card)" $half -g 8 -bf 0 -q:v 3
stream gop-low-delay      encode "$(cuts 176x144)" $half -g 12 -bf 0 -flags +low_delay+bitexact -q:v 5
stream gop-b1             encode "$(fractal)" $half -g 6 -bf 1 -q:v 2
stream gop-b2-open        encode "$(rush)" $half -g 6 -bf 2 -q:v 5
stream gop-b3-closed      encode "$(card)" $half -g 6 -bf 3 -flags +cgop+bitexact -sc_threshold 1000000000 -q:v 5
stream gop-b4             encode "$(grain)" $half -g 12 -bf 4 -q:v 8
stream gop-chosen-1       encode "$(cuts 176x144)" $half -g 12 -bf 2 -b_strategy 1 -sc_threshold 100 -q:v 4
stream gop-chosen-2       encode "$(dots)" $half -g 12 -bf 3 -b_strategy 2 -q:v 6
stream gop-slices-2       encode "$(rush)" $half -g 12 -bf 2 -slices 2 -q:v 4
stream gop-slices-16      encode "$(rush 176x256)" $half -g 12 -bf 2 -slices 16 -q:v 4
stream gop-slices-cut     encode "$(grain)" $half -g 12 -bf 2 -ps 200 -q:v 6

# Quantiser, matrices, scans, coefficient tables, intra DC precision.
stream quant-b14          encode "$(grain)" $half -g 6 -bf 2 -q:v 1 -qmin 1
stream quant-b15          encode "$(grain)" $half -g 6 -bf 2 -intra_vlc 1 -q:v 2
stream quant-alternate    encode "$(grain)" $half -g 6 -bf 2 -alternate_scan 1 -q:v 3
stream quant-nonlinear    encode "$(grain)" $half -g 6 -bf 2 -non_linear_quant 1 -qmax 28 -q:v 20
stream quant-nonlinear-1  encode "$(dots)" $half -g 6 -bf 1 -non_linear_quant 1 -qmax 28 -qmin 1 -q:v 1
stream quant-all          encode "$(fractal)" $half -g 6 -bf 2 -intra_vlc 1 -alternate_scan 1 -non_linear_quant 1 -qmax 28 -dc 10 -q:v 3
stream quant-coarse       encode "$(grain)" $half -g 6 -bf 2 -q:v 31
stream quant-rate         encode "$(cuts 176x144)" $half -g 12 -bf 2 -b:v 300k -minrate 300k -maxrate 300k -bufsize 100k
for precision in 8 9 10 11; do
    stream quant-dc-$precision encode "$(dots)" $half -g 4 -bf 1 -dc $precision -q:v 2
done
steep=$(for i in {0..63}; do printf '%s%d' "${comma:-}" $((8 + i * 3)); comma=,; done)
flat=$(for i in {0..63}; do printf '%s%d' "${comma:-}" 16; comma=,; done)
stream quant-matrices     encode "$(grain)" $half -g 6 -bf 2 -intra_matrix "$steep" -inter_matrix "$steep" -q:v 2
stream quant-flat         encode "$(dots)" $half -g 6 -bf 2 -intra_matrix "8$flat" -intra_vlc 1 -q:v 2
stream quant-by-block     encode "$(grain)" $half -g 12 -bf 2 -mbd rd -mpv_flags +qp_rd+cbp_rd+skip_rd+mv0 -trellis 1 -q:v 6
stream quant-masks        encode "$(fractal)" $half -g 12 -bf 2 -mbd bits -lumi_mask 0.4 -scplx_mask 0.4 -dark_mask 0.3 -p_mask 0.5 -q:v 6
stream quant-eliminated   encode "$(grain)" $half -g 12 -bf 2 -luma_elim_threshold -8 -chroma_elim_threshold -8 -noise_reduction 500 -q:v 6

# Motion: long vectors, half samples, intra macroblocks among predicted ones, whole pictures skipped.
stream motion-far         encode "$(rush 352x160)" $half -g 12 -bf 2 -me_range 500 -dia_size 1024 -q:v 4
stream motion-fine        encode "$(fractal)" $half -g 12 -bf 2 -subq 8 -cmp satd -subcmp rd -mbd rd -q:v 2
stream motion-none        encode "$(rush)" $half -g 12 -bf 2 -motion_est zero -q:v 5
stream motion-intra       encode "$(dots)" $half -g 12 -bf 2 -intra_penalty 0 -mbd rd -q:v 8
stream motion-still       encode "color=gray:s=176x144:r=25" $half -g 12 -bf 2 -q:v 5

# Interlaced: prediction and transform by fields, either field first.
for first in top bottom; do
    order=$([ $first = top ] && echo 1 || echo 0)
    stream field-$first   encode "$(fields "$(rush 176x160 50)")" $half -g 6 -bf 2 -flags +ildct+ilme+bitexact -top $order -q:v 4
done
stream field-transform    encode "$(fields "$(grain 176x160 50)")" $half -g 6 -bf 1 -flags +ildct+bitexact -q:v 3
stream field-prediction   encode "$(fields "$(rush 176x160 50)")" $half -g 12 -bf 2 -flags +ilme+bitexact -mbd rd -q:v 3
stream field-tools        encode "$(fields "$(cuts 176x160)")" $half -g 6 -bf 3 -flags +ildct+ilme+cgop+bitexact -sc_threshold 1000000000 \
    -alternate_scan 1 -intra_vlc 1 -non_linear_quant 1 -qmax 28 -dc 10 -q:v 3
stream field-far          encode "$(fields "$(rush 352x160 50)")" $half -g 12 -bf 2 -flags +ildct+ilme+bitexact -me_range 500 -dia_size 1024 -mbd rd -q:v 5
stream field-dots         encode "$(fields "$(dots 176x160 50)")" $half -g 12 -bf 2 -flags +ildct+ilme+bitexact -q:v 7
stream field-odd-rows     encode "$(fields "$(rush 176x144 50)")" $half -g 6 -bf 2 -flags +ildct+ilme+bitexact -q:v 4
stream field-352x240      encode "$(fields "$(grain 352x240 60000/1001)")" 0.3 -g 6 -bf 2 -flags +ildct+ilme+bitexact -q:v 5

# Sizes that are no whole macroblocks, single macroblocks, rows wider than their padding, high definition.
for size in 16x16 16x48 48x16 18x34 100x76 130x98 256x32 354x290; do
    stream size-$size     encode "$(grain $size)" $half -g 6 -bf 2 -q:v 4
done
stream size-1920x1080     encode "$(rush 1920x1080)" 0.2 -g 12 -bf 2 -q:v 4
stream size-fields-1080   encode "$(fields "$(rush 1920x1080 50)")" 0.16 -g 12 -bf 1 -flags +ildct+ilme+bitexact -q:v 6
stream size-fields-290    encode "$(fields "$(rush 354x290 50)")" 0.32 -g 12 -bf 2 -flags +ildct+ilme+bitexact -q:v 6

# mpeg2enc, progressive: its own matrices and those of a file, formats, groups, quantiser controls.
{ for i in {0..7}; do seq -s, $((8 + i * 9)) $((8 + i * 9 + 7)); done; for i in {0..7}; do seq -s, $((12 + i * 5)) $((12 + i * 5 + 7)); done; } >"$work/matrices"
enc() { stream "enc-$1" mjpeg "$2" $half "${@:3}"; }
enc intra        "$(grain)" -f 3 -b 6000 -I 0 -g 1 -G 1 -q 3
enc p            "$(rush)" -f 3 -b 6000 -I 0 -g 6 -G 6 -R 0 -q 4
enc b1           "$(fractal)" -f 3 -b 6000 -I 0 -g 6 -G 12 -R 1 -q 2
enc b2-closed    "$(card)" -f 3 -b 6000 -I 0 -g 6 -G 6 -R 2 -c -q 5
enc b2-kept      "$(cuts 176x144)" -f 3 -b 6000 -I 0 -g 3 -G 12 -R 2 -P -s -q 5
enc chapters     "$(card)" -f 8 -n p -I 0 --chapters 4,9 -q 5
enc cbr          "$(grain)" -f 3 -b 800 -I 0 -u -R 2 -r 32
enc searched    "$(grain)" -f 3 -b 900 -I 0 -N 0.5 -R 1 -4 1 -2 1
for matrices in kvcd tmpgenc hi-res flat default "file=$work/matrices"; do
    enc "matrices-${matrices%%=*}" "$(grain)" -f 3 -b 8000 -I 0 -K "$matrices" -q 2 -R 2
done
for precision in 8 9 10; do   # 11 is for a profile that it has not
    enc dc-$precision "$(dots)" -f 3 -b 9000 -I 0 -D $precision -q 1 -R 1
done
enc coarse       "$(grain)" -f 3 -b 6000 -I 0 -q 31 -R 2
enc reduced      "$(grain)" -f 3 -b 6000 -I 0 -q 6 -N 1.5 -E -20 -Q 3 -X 1000 -R 2
enc kept         "$(grain)" -f 3 -b 8000 -I 0 -q 4 -H -E 20 -R 2
enc svcd         "$(card 480x576)" -f 4 -n p -a 2 -I 0 -R 2
enc pulldown     "$(card 352x256 24000/1001)" -f 9 -n n -p -R 2 -q 6
enc size-100x76  "$(grain 100x76)" -f 3 -b 4000 -I 0 -q 5 -R 2

# mpeg2enc, interlaced: prediction by fields, dual prime, alternate scan or not.
enc_field() { stream "encfield-$1" mjpeg_interlaced "$2" "$(fields "$3")" $half -f 3 -b 8000 -I 1 "${@:4}"; }
enc_field top        tff "$(rush 176x160 50)" -R 2 -q 4
enc_field bottom     bff "$(rush 176x160 50)" -R 1 -q 4 -z b
enc_field zigzag     tff "$(grain 176x160 50)" -R 2 -q 3 --no-altscan-mpeg2
enc_field dual-prime tff "$(card 176x160 50)" -R 0 -q 4 --dualprime-mpeg2
enc_field dual-fast  tff "$(rush 176x160 50)" -R 0 -q 4 --dualprime-mpeg2 -r 32 -K kvcd
enc_field dual-bottom bff "$(fractal 176x160 50)" -R 0 -q 2 --dualprime-mpeg2 -D 10
enc_field dots       tff "$(dots 176x160 50)" -R 2 -q 6 -G 6 -c
enc_field matrices   tff "$(grain 176x160 50)" -R 2 -q 2 -K tmpgenc -D 9
enc_field dvd        tff "$(card 352x288 50)" -f 8 -n p -R 2 -q 6

# Encodes with other matrices, one behind the other, as a recording has them before and after an advertisement.
joined() { (cd "$out" && cat "${@:1:$# - 1}") >"${@: -1}"; }
stream joined-ffmpeg     joined quant-matrices.m2v quant-b14.m2v quant-flat.m2v quant-matrices.m2v
stream joined-mpeg2enc   joined enc-matrices-{kvcd,tmpgenc,file,default,hi-res}.m2v
stream joined-both       joined enc-matrices-kvcd.m2v quant-matrices.m2v enc-matrices-file.m2v quant-flat.m2v enc-b1.m2v

# One video in every packaging: any of them, in any order, must give the same pictures.
packaged same-rows.ts    encode "$(rush 128x96)" $half -g 6 -bf 2 -q:v 6 -f mpegts
packaged same-fields.ts  encode "$(fields "$(rush 128x96 50)")" $half -g 6 -bf 2 -flags +ildct+ilme+bitexact -q:v 6 -f mpegts
packaged same-cut.ts     encode "$(grain 128x96)" $half -g 6 -bf 2 -ps 200 -q:v 6 -f mpegts
for same in same-rows same-fields same-cut; do
    stream $same         copy $same.ts -f mpeg2video
    packaged $same.vob   copy $same.ts -f vob
done
stream same-enc          mjpeg_interlaced tff "$(fields "$(rush 128x96 50)")" $half -f 3 -b 4000 -I 1 -R 2 -q 6
packaged same-enc.vob    multiplex same-enc
packaged same-enc.ts     copy same-enc.vob -f mpegts
echo "$(find "$out" -name '*.m2v' | wc -l) streams"
