/* Frame-accurate random access to MPEG-2 video (ISO/IEC 13818-2), for programs in C and whatever can call C.
 *
 *     vexmora_movie* movie;
 *     vexmora_frame* frame;
 *     vexmora_picture picture = {.struct_size = sizeof picture};
 *     if (vexmora_movie_open("recording.ts", NULL, &movie) != VEXMORA_OK) ...
 *     if (vexmora_frame_acquire(movie, 48213, VEXMORA_SCALE_FULL, &frame) == VEXMORA_OK) {
 *         vexmora_frame_describe(frame, &picture);
 *         ...                                         (picture.planes, until the frame is released)
 *         vexmora_frame_release(frame);
 *     }
 *     vexmora_movie_close(movie);
 *
 * Answers. Every function that can fail answers with a vexmora_status; vexmora_last_error tells more. Nothing
 * is thrown. When a function that gives a handle fails, the handle is NULL; other outputs are left alone.
 *
 * Handles. They name an object and are not its address. One that names no living object of its kind (NULL,
 * released before, of another kind, made up) is answered with VEXMORA_BAD_HANDLE and does no harm.
 *
 * Structs. The first field of each is its size: set it to sizeof, and zero what you do not set. Later
 * versions add fields at the end; a program that was built without them goes on as it was.
 *
 * Threads. Any thread may call any function with any handle at any time. Calls that decode from one movie, by
 * its runs too, wait for one another: open a file once for each thread that is to decode by itself. An object
 * that is released while another thread uses it lives until that call ends.
 *
 * Numbers. Frames count from 0, the first usable one in display order. Flags and kinds are uint32_t, so that
 * values may be added.
 */
#ifndef VEXMORA_H
#define VEXMORA_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Answers ---- */

typedef int32_t vexmora_status;
enum {
    VEXMORA_OK = 0,
    /** Nothing failed: a run has given all of its frames. */
    VEXMORA_END = 1,
    /** A file cannot be opened, read or written. */
    VEXMORA_FAILED = -1,
    /** The data is not supported: no MPEG-2 video, or not in a known packaging. */
    VEXMORA_UNSUPPORTED = -2,
    /** As before, for want of a usable sequence header. In a picture: it could not be decoded. */
    VEXMORA_NO_SEQUENCE_HEADER = -3,
    /** The progress callback cancelled; nothing is left on disk. */
    VEXMORA_CANCELLED = -4,
    /** The movie has no such frame, or no picture that could stand in for it. */
    VEXMORA_NO_SUCH_FRAME = -5,
    /** The recording was indexed, but the index cannot be kept. */
    VEXMORA_INDEX_NOT_WRITTEN = -7,
    /** In a picture only: its record holds no coded picture, or no bytes. */
    VEXMORA_NO_CODED_PICTURE = -8,
    VEXMORA_EMPTY_RECORD = -11,
    /** Memory ran out. What was open stays usable, but for a run: that answers the same from then on. */
    VEXMORA_NO_MEMORY = -100,
    /** The handle names no living object of its kind. */
    VEXMORA_BAD_HANDLE = -101,
    /** A pointer is null, a number is out of its range, or a struct_size is none that was ever in use. */
    VEXMORA_BAD_ARGUMENT = -102,
    /** Anything else: a fault of Vexmora, or an exception out of a callback. */
    VEXMORA_INTERNAL = -103
};

/** What went wrong. No text is null; they may be empty. */
typedef struct vexmora_error {
    size_t struct_size;
    vexmora_status status;
    /** The file or folder that the problem lies with, as bytes of the file system. */
    const char* path;
    const char* problem;
    /** What can be done about it. */
    const char* advice;
    /** All of it: "PATH: PROBLEM (ADVICE)". */
    const char* text;
} vexmora_error;

/** Tells of the last call that failed on the calling thread; VEXMORA_OK and empty texts when there was none.
 * The texts are valid until a call fails on this thread again, or the thread ends. Answers
 * VEXMORA_BAD_ARGUMENT, and does not remember that, when it cannot fill the struct. */
vexmora_status vexmora_last_error(vexmora_error* out_error);

/* ---- The process ---- */

/** The version of this header. */
#define VEXMORA_VERSION "0.1.0"
/** The version of the library that runs: "MAJOR.MINOR.PATCH". Until 1.0 each minor version may change what it
 *  promises, and has another soname. */
const char* vexmora_version(void);

/** What the caches of the process keep, at most, unless told otherwise: bytes. */
#define VEXMORA_DEFAULT_BLOCK_CACHE_BYTES (128u << 20)
#define VEXMORA_DEFAULT_FRAME_CACHE_BYTES (256u << 20)
/** Bytes of files, and of decoded pictures, that the process may keep from now on, all movies together. What
 * is more is dropped at once; 0 keeps nothing. What somebody uses does not count. */
vexmora_status vexmora_set_cache_budgets(size_t block_bytes, size_t frame_bytes);

/* ---- Movies ---- */

/** A recording, opened with its frame index. */
typedef struct vexmora_movie vexmora_movie;

/** Told how indexing goes on: bytes done and in all; (total, total) at the end. Answers 0 to go on, anything
 * else to cancel. Called on the thread that opens, with the user pointer of the options; it may use other
 * movies. */
typedef int (*vexmora_progress)(void* user, uint64_t bytes_done, uint64_t bytes_total);

/** How to open. All zero but the size: the defaults. */
typedef struct vexmora_open_options {
    size_t struct_size;
    /** Folder of index files; NULL for $XDG_CACHE_HOME/vexmora, or else $HOME/.cache/vexmora. */
    const char* index_dir;
    /** Or NULL. */
    vexmora_progress progress;
    void* progress_user;
    /** Not 0: index even if the index is known. */
    uint32_t force_reindex;
    /** Not 0: macroblocks with errors show what those do that could not be decoded, instead of red. */
    uint32_t conceal_errors;
    /** program_number and PID (or stream id) of the video to show; 0 for any: the first that can be shown. */
    uint32_t program;
    uint32_t pid;
} vexmora_open_options;

/** Opens a recording; reads and indexes it first when its index is not known. The caller closes it.
 *  @param path    as bytes of the file system.
 *  @param options null for the defaults; not kept. */
vexmora_status vexmora_movie_open(const char* path, const vexmora_open_options* options,
                                  vexmora_movie** out_movie);

/** Opens the parts of one recording, in their order, as if they were one file. */
vexmora_status vexmora_movie_open_files(const char* const* paths, size_t path_count,
                                        const vexmora_open_options* options, vexmora_movie** out_movie);

/** Closes a movie. Its runs and frames stay usable until they are closed and released. */
vexmora_status vexmora_movie_close(vexmora_movie* movie);

/** vexmora_info::stream_kind: how the video is packaged. */
enum { VEXMORA_STREAM_ELEMENTARY = 0, VEXMORA_STREAM_PROGRAM = 1, VEXMORA_STREAM_TRANSPORT = 2 };

/** vexmora_info::field_order. */
enum {
    VEXMORA_FIELDS_PROGRESSIVE = 0,
    VEXMORA_FIELDS_BOTTOM_FIRST = 1,
    VEXMORA_FIELDS_TOP_FIRST = 2,
    VEXMORA_FIELDS_MIXED = 3
};

/** What is known about a movie. */
typedef struct vexmora_info {
    size_t struct_size;
    /** Bytes. */
    uint64_t stream_length;
    /** Width of a displayed sample over its height; 0 when the stream does not say. */
    double pixel_aspect_ratio;
    /** Seconds from one frame to the next, as the sequence header has them; 0 when it does not say. */
    double frame_period;
    uint32_t stream_kind;
    /** Picture positions that vexmora_movie_records gives, and which of them is frame 0. */
    uint32_t record_count;
    uint32_t first_record;
    /** Usable frames. */
    uint32_t frame_count;
    /** Coded size, samples and lines, and that which is meant to be shown. */
    uint32_t width;
    uint32_t height;
    uint32_t display_width;
    uint32_t display_height;
    /** Frames per second times 1000, as they were recorded: 23976 of film in 3:2 pulldown. */
    uint32_t effective_frame_rate;
    /** Codes of the sequence display extension (ISO/IEC 13818-2, 6.3.6): 5 and 2s when there is none. */
    uint32_t video_format;
    uint32_t colour_primaries;
    uint32_t transfer_characteristics;
    uint32_t matrix_coefficients;
    uint32_t field_order;
    /** 0 or 1: frames are whole, not of two fields. */
    uint32_t is_progressive;
    /** 0 or 1: opening had to index the recording. */
    uint32_t was_indexed;
    /** Of the content, under which the index is kept. */
    uint8_t identity[16];
} vexmora_info;

vexmora_status vexmora_movie_info(const vexmora_movie* movie, vexmora_info* out_info);

/** Flags of records and pictures: the picture coding extension's, and broken_link of the group of pictures.
 */
enum {
    VEXMORA_PROGRESSIVE_FRAME = 1,
    VEXMORA_TOP_FIELD_FIRST = 2,
    VEXMORA_REPEAT_FIRST_FIELD = 4,
    VEXMORA_BROKEN_LINK = 8,
    /** Of pictures only: some samples are not what the stream's maker encoded; it is another frame's picture.
     */
    VEXMORA_DAMAGED = 16,
    VEXMORA_STANDS_IN = 32
};

/** One picture position, in display order. Where no picture is, a hole, all fields are 0. */
typedef struct vexmora_record {
    /** Stream position to read from, and bytes from there to the next picture. */
    uint64_t offset;
    uint32_t size;
    uint16_t temporal_reference;
    /** 1 I, 2 P, 3 B (ISO/IEC 13818-2, table 6-12); 0 is a hole. */
    uint8_t picture_coding_type;
    uint8_t flags;
    /** How many records before (negative) and behind the references are; 0 when there is none. */
    int32_t past_reference;
    int32_t future_reference;
} vexmora_record;

/** Copies count records, from the first-th on, into the caller's array.
 *  @param record_size sizeof(vexmora_record): bytes from one to the next. */
vexmora_status vexmora_movie_records(const vexmora_movie* movie, uint32_t first, uint32_t count,
                                     vexmora_record* out_records, size_t record_size);

/* ---- Frames ---- */

/** A decoded frame. Its samples never change, and stay until it is released, whatever becomes of the movie.
 */
typedef struct vexmora_frame vexmora_frame;

/** The size in which a picture is decoded: as coded, half as wide, or half as wide and half as high. */
typedef uint32_t vexmora_scale;
enum { VEXMORA_SCALE_FULL = 0, VEXMORA_SCALE_HALF_WIDTH = 1, VEXMORA_SCALE_QUARTER = 2 };

/** Decodes a frame with whatever it is predicted from, or takes it from the cache. Damage in the stream is
 * told by the picture, not by the answer. The caller releases the frame.
 *  @param number 0 to frame_count - 1. */
vexmora_status vexmora_frame_acquire(vexmora_movie* movie, uint32_t number, vexmora_scale scale,
                                     vexmora_frame** out_frame);
vexmora_status vexmora_frame_release(vexmora_frame* frame);

/** The visible samples of one plane; rows are stride bytes apart. */
typedef struct vexmora_plane {
    const uint8_t* samples;
    size_t stride;
    uint32_t width;
    uint32_t height;
} vexmora_plane;

/** A decoded picture in 4:2:0, and what could not be decoded of it. */
typedef struct vexmora_picture {
    size_t struct_size;
    /** Y, Cb, Cr; the latter half as wide and half as high, rounded up. Valid until the frame is released. */
    vexmora_plane planes[3];
    /** Damaged macroblocks in the pictures that this one is predicted from, directly or through others. */
    uint64_t inherited_damage;
    /** Macroblocks of this picture that could not be decoded. */
    uint32_t damaged_macroblocks;
    uint32_t macroblocks;
    /** Not VEXMORA_OK: nothing of the picture could be decoded. */
    vexmora_status damage;
    /** VEXMORA_DAMAGED: any of the three is not 0, or the picture stands in. */
    uint32_t flags;
    /** The frame whose picture this is, another than asked for where it stands in; and its record. */
    uint32_t frame;
    uint32_t record;
    uint32_t picture_coding_type;
    vexmora_scale scale;
} vexmora_picture;

vexmora_status vexmora_frame_describe(const vexmora_frame* frame, vexmora_picture* out_picture);

/* ---- Runs ---- */

/** Frames one after the other, decoded on several processors ahead of their use. */
typedef struct vexmora_run vexmora_run;

/** Begins a run of count frames from the first on. The caller closes it.
 *  @param threads that decode, the calling one among them; 0 for one on each processor, 256 at most. */
vexmora_status vexmora_run_open(vexmora_movie* movie, uint32_t first, uint32_t count, vexmora_scale scale,
                                uint32_t threads, vexmora_run** out_run);

/** The next frame, which the caller releases; VEXMORA_END, and a null frame, when all were given. After
 *  VEXMORA_NO_SUCH_FRAME, no picture for a frame, it goes on with the one behind. */
vexmora_status vexmora_run_next(vexmora_run* run, vexmora_frame** out_frame);

/** A run may be closed before its end. */
vexmora_status vexmora_run_close(vexmora_run* run);

#ifdef __cplusplus
}
#endif

#endif
