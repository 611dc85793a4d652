/* Writes one frame of a recording as raw planes, Y, Cb and Cr, as a programmer in C would begin. */
#include <stdio.h>
#include <stdlib.h>
#include <vexmora.h>

static int explain(void) {
    vexmora_error error = {.struct_size = sizeof error};
    if (vexmora_last_error(&error) == VEXMORA_OK) fprintf(stderr, "write_frame: %s\n", error.text);
    return EXIT_FAILURE;
}

static int show_progress(void* user, uint64_t bytes_done, uint64_t bytes_total) {
    if (bytes_total > 0)
        fprintf(user, "indexed %3.0f %%\n", 100.0 * (double)bytes_done / (double)bytes_total);
    return 0; /* go on */
}

static int write_planes(const vexmora_picture* picture, FILE* file) {
    for (int plane = 0; plane < 3; ++plane) {
        const vexmora_plane* const from = &picture->planes[plane];
        for (uint32_t line = 0; line < from->height; ++line) {
            if (fwrite(from->samples + line * from->stride, 1, from->width, file) != from->width) return 0;
        }
    }
    return fflush(file) == 0;
}

int main(int count, char** arguments) {
    if (count != 3) return fprintf(stderr, "usage: write_frame RECORDING FRAME >PLANES.yuv\n"), 2;
    vexmora_movie* movie;
    vexmora_frame* frame;
    const vexmora_open_options options = {
        .struct_size = sizeof options, .progress = show_progress, .progress_user = stderr};
    if (vexmora_movie_open(arguments[1], &options, &movie) != VEXMORA_OK) return explain();

    vexmora_info info = {.struct_size = sizeof info};
    if (vexmora_movie_info(movie, &info) != VEXMORA_OK) return explain();
    fprintf(stderr, "%ux%u, %u frames\n", info.width, info.height, info.frame_count);

    const uint32_t number = (uint32_t)strtoul(arguments[2], NULL, 10);
    if (vexmora_frame_acquire(movie, number, VEXMORA_SCALE_FULL, &frame) != VEXMORA_OK) return explain();
    vexmora_picture picture = {.struct_size = sizeof picture};
    if (vexmora_frame_describe(frame, &picture) != VEXMORA_OK) return explain();
    if (picture.flags & VEXMORA_DAMAGED) fprintf(stderr, "write_frame: frame %u is damaged\n", number);
    const int is_written = write_planes(&picture, stdout);
    vexmora_frame_release(frame);
    vexmora_movie_close(movie);
    return is_written ? EXIT_SUCCESS : EXIT_FAILURE;
}
