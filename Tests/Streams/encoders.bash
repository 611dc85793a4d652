# Sourced by the scripts that make streams: running the encoders into $work quietly and reproducibly.

quiet() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; echo "${0##*/}: failed: $*" >&2; exit 1; }; }

exact=(-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -map_metadata -1 -threads 1)

# encode SOURCE SECONDS ENCODER-OPTIONS… OUTPUT: MPEG-2 video of a lavfi source.
encode() {
    local source=$1 seconds=$2; shift 2
    quiet ffmpeg -nostdin -y -f lavfi -i "$source" -t "$seconds" -pix_fmt yuv420p -c:v mpeg2video "${exact[@]}" "$@"
}
# mjpeg SOURCE SECONDS ENCODER-OPTIONS… OUTPUT: the same from mpeg2enc; mjpeg_field sets the field order.
mjpeg_field=prog
mjpeg() {
    local source=$1 seconds=$2; shift 2
    local output=${!#}
    quiet ffmpeg -nostdin -y -f lavfi -i "$source" -t "$seconds" -pix_fmt yuv420p -vf "setfield=$mjpeg_field" \
        -f yuv4mpegpipe "$work/source.y4m"
    quiet mpeg2enc -v 0 -M 1 "${@:1:$#-1}" -o "$output" <"$work/source.y4m"
}
mjpeg_interlaced() { mjpeg_field=$1; shift; mjpeg "$@"; mjpeg_field=prog; }
