/*
 * imgcnv_frames.h - what a raw frame is, and whole pictures from it.
 *
 * Usable from C11 and C++. Describe the frame, say what picture you want, and run:
 *
 *     imgcnv_frame frame = IMGCNV_FRAME_INIT;
 *     imgcnv_target target = IMGCNV_TARGET_INIT;
 *     imgcnv_pipeline* pipeline;
 *     char why[IMGCNV_TEXT_BYTES];
 *
 *     imgcnv_find_format("BayerRG12Packed", &frame.format, &frame.flags, why, sizeof why);
 *     frame.width = 1920;
 *     frame.height = 1080;
 *     target.kind = IMGCNV_TARGET_BGR24;
 *     if (imgcnv_pipeline_open(&frame, &target, &pipeline, why, sizeof why) == IMGCNV_OK) {
 *         imgcnv_pipeline_run(pipeline, raw, raw_bytes, picture, picture_bytes, why, sizeof why);
 *         imgcnv_pipeline_close(pipeline);
 *     }
 *
 * A picture is whole: width x height pixels for every format and every geometry, the same bytes
 * from every language and with any number of threads. Beyond its edges a mosaic is taken to
 * continue mirrored.
 *
 * Errors: every function that can fail returns an imgcnv_status and, where the caller gives a
 * buffer for it, a text: what was expected, what was given, what to do. `text` may be null and
 * `text_bytes` 0. The text is UTF-8, ends with a zero byte, is cut to fit, has no newline at its
 * end, and is empty on success. Lines after the first are further advice.
 *
 * Structures begin with `struct_size`, which the caller sets to sizeof the structure (the _INIT
 * macros do); later versions of the library append members and never read beyond struct_size.
 * Members that are not named start as 0, which always means "the usual".
 *
 * Threads: there is no global state. Functions without a pipeline may be called on any thread at
 * any time. A pipeline serves one thread at a time: a second caller gets IMGCNV_BUSY. After fork a
 * child must open pipelines of its own; a pipeline of its parent answers IMGCNV_BUSY there.
 *
 * Memory: opening a pipeline allocates all that running it needs. Buffers need no alignment and
 * are neither read nor written outside the ranges given. Sources are never written.
 */
#ifndef IMGCNV_FRAMES_H
#define IMGCNV_FRAMES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define IMGCNV_FRAMES_API __attribute__((visibility("default")))
#else
#define IMGCNV_FRAMES_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes that hold any text this library makes. */
#define IMGCNV_TEXT_BYTES 2048

typedef enum imgcnv_status {
    IMGCNV_OK = 0,
    IMGCNV_BAD_ARGUMENT = 1,   /* a null pointer, or a value that is not legal */
    IMGCNV_OUT_OF_MEMORY = 2,  /* an allocation failed; nothing stays allocated */
    IMGCNV_UNKNOWN_FORMAT = 3, /* no format has this name or code */
    IMGCNV_BAD_SIZE = 4,       /* a buffer or file does not have the length it should have */
    IMGCNV_BAD_DATA = 5,       /* the content is invalid: a Mono1C point outside the picture */
    IMGCNV_OVERLAP = 6,        /* source and target share bytes */
    IMGCNV_BUSY = 7,       /* the pipeline is at work on another thread, or in another process */
    IMGCNV_UNSUPPORTED = 8 /* this source cannot become this target */
} imgcnv_status;

/* A short English name of a status: "bad size". Never null. */
IMGCNV_FRAMES_API const char* imgcnv_status_name(int status);

/* "1.0.0", the version of this library. */
IMGCNV_FRAMES_API const char* imgcnv_frames_version(void);

/* ------------------------------------------------------------------------- */
/* Pixel formats                                                              */
/* ------------------------------------------------------------------------- */

/*
 * Formats are told apart by their PFNC code (colour class in bits 31..24, bits per pixel in 23..16,
 * number in 15..0). Formats that PFNC does not have, such as the packings of MIPI CSI-2, have codes
 * of this library with bit 31 set.
 */

/* How samples lie in a row. */
typedef enum imgcnv_layout {
    IMGCNV_LAYOUT_LSB_FIRST = 1, /* one stream of bits, first sample in the lowest bits: Mono1p,
                                    Mono2p, Mono4p, Mono10p, Mono12p, Mono14p, Bayer..p */
    IMGCNV_LAYOUT_BYTES = 2,     /* one byte per sample */
    IMGCNV_LAYOUT_WORDS = 3,     /* 16-bit words, sample in the low bits */
    IMGCNV_LAYOUT_PACKED = 4,    /* GigE Vision: 2 samples in 3 bytes: high bits, low bits of both,
                                    high bits */
    IMGCNV_LAYOUT_MIPI = 5,      /* MIPI CSI-2: the high bytes of 4 (2 for 12 bits) samples, then
                                    their low bits */
    IMGCNV_LAYOUT_RGB = 6,       /* R, G, B; bytes or 16-bit words by depth */
    IMGCNV_LAYOUT_BGR = 7,
    IMGCNV_LAYOUT_RGBA = 8,
    IMGCNV_LAYOUT_BGRA = 9,
    IMGCNV_LAYOUT_UYYVYY = 10, /* 4:1:1, 4 pixels in 6 bytes */
    IMGCNV_LAYOUT_UYVY = 11,   /* 4:2:2, 2 pixels in 4 bytes */
    IMGCNV_LAYOUT_YUYV = 12,   /* 4:2:2, 2 pixels in 4 bytes */
    IMGCNV_LAYOUT_UYV = 13,    /* 4:4:4 */
    IMGCNV_LAYOUT_POINTS = 14  /* Mono1C: a list of points */
} imgcnv_layout;

/* The first two samples of a mosaic's first row. */
typedef enum imgcnv_bayer_order {
    IMGCNV_ORDER_NONE = 0,
    IMGCNV_ORDER_RG = 1,
    IMGCNV_ORDER_GB = 2,
    IMGCNV_ORDER_BG = 3,
    IMGCNV_ORDER_GR = 4
} imgcnv_bayer_order;

/* A row of the format table. Strings are constant and never null; lists are separated by blanks. */
typedef struct imgcnv_format_info {
    size_t struct_size;
    uint32_t code;
    int bits_per_pixel;      /* in the buffer */
    int depth;               /* bits of a sample */
    int layout;              /* imgcnv_layout */
    int order;               /* imgcnv_bayer_order */
    int is_color;            /* 1: mosaics, RGB, YUV */
    int group_pixels;        /* pixels that share bytes: 1, 2, 4, 8 */
    int group_bytes;         /* bytes of that many pixels */
    int in_core;             /* 1: libimgcnv reads it */
    const char* name;        /* the name this library prints: "BayerRG12Packed" */
    const char* layout_text; /* "2 pixels in 3 bytes: high, low bits of both, high" */
    const char* pfnc;        /* other PFNC names */
    const char* gstreamer;
    const char* v4l2;
    const char* ffmpeg;
    const char* ros;
    const char* opencv; /* OpenCV's COLOR_ constants that take this mosaic */
} imgcnv_format_info;

/* How many formats there are. */
IMGCNV_FRAMES_API int imgcnv_format_count(void);

/* Row `index` of the table, 0 to count - 1. IMGCNV_BAD_ARGUMENT otherwise; *info is untouched. */
IMGCNV_FRAMES_API int imgcnv_format_at(int index, imgcnv_format_info* info);

/* The row with this code, or IMGCNV_UNKNOWN_FORMAT; *info is untouched then. */
IMGCNV_FRAMES_API int imgcnv_format_of_code(uint32_t code, imgcnv_format_info* info);

/*
 * Looks a format up by any of its names, whatever the case, underscores, dashes and blanks, with or
 * without a prefix such as PixelFormat_ or V4L2_PIX_FMT_, or by its code (0x010C002B, 010C002B,
 * 17563691).
 *
 *   code   out: its code
 *   flags  out, may be null: IMGCNV_FRAME_BIG_ENDIAN or IMGCNV_FRAME_VIDEO_RANGE is added where the
 *          name says so (Y16_BE, YCbCr601_422_8)
 *
 * IMGCNV_UNKNOWN_FORMAT: the text says what the name means elsewhere and what to do, or which names
 * are nearest by meaning. *code and *flags are untouched.
 */
IMGCNV_FRAMES_API int imgcnv_find_format(const char* name, uint32_t* code, uint32_t* flags,
                                         char* text, size_t text_bytes);

/* A format of other software that this library does not read. Strings are constant. */
typedef struct imgcnv_foreign_format {
    size_t struct_size;
    const char* names;   /* separated by blanks */
    const char* meaning; /* what it is */
    const char* advice;  /* what to do instead */
} imgcnv_foreign_format;

IMGCNV_FRAMES_API int imgcnv_foreign_format_count(void);
IMGCNV_FRAMES_API int imgcnv_foreign_format_at(int index, imgcnv_foreign_format* foreign);

/* ------------------------------------------------------------------------- */
/* Frames                                                                     */
/* ------------------------------------------------------------------------- */

enum {
    IMGCNV_FRAME_BIG_ENDIAN = 1, /* 16-bit words have their high byte first */
    IMGCNV_FRAME_VIDEO_RANGE = 2 /* YUV with Y in 16..235, U and V in 16..240 */
};

/* Where the pixels of a frame lie, and where frames lie in a file. */
typedef struct imgcnv_frame {
    size_t struct_size;
    uint32_t format; /* a code of the table */
    uint32_t flags;  /* IMGCNV_FRAME_... */
    int64_t width;   /* pixels per row, 1 to 2^31 - 1 */
    int64_t height;  /* rows, 1 to 2^31 - 1; width * height <= 2^31 - 1 */
    int64_t stride;  /* bytes from row to row; 0: rows follow each other without padding, and rows
                        of LSB_FIRST formats share bytes as one stream of bits */
    int64_t skip;    /* bytes of a file before its first frame */
    int64_t gap;     /* bytes of a file after each frame, such as chunk data */
} imgcnv_frame;

#define IMGCNV_FRAME_INIT \
    { sizeof(imgcnv_frame), 0, 0, 0, 0, 0, 0, 0 }

typedef struct imgcnv_frame_sizes {
    size_t struct_size;
    int64_t row_bytes;   /* bytes that the pixels of a row take, a last incomplete group rounded up;
                            0 for Mono1C */
    int64_t stride;      /* the stride in force; 0 for a stream whose rows share bytes */
    int64_t frame_bytes; /* a frame with the padding of its last row; 0 for Mono1C, whose lists are
                            as long as they are */
    int64_t needed_bytes; /* the same without the padding of the last row: a shorter source is
                             refused */
} imgcnv_frame_sizes;

/* Checks a description and computes its sizes. IMGCNV_BAD_ARGUMENT, IMGCNV_UNKNOWN_FORMAT. */
IMGCNV_FRAMES_API int imgcnv_frame_measure(const imgcnv_frame* frame, imgcnv_frame_sizes* sizes,
                                           char* text, size_t text_bytes);

/* Bytes of `width` pixels of a format, as row_bytes above; -1 for an unknown format and for widths
   other than 0 to 2^31 - 1. */
IMGCNV_FRAMES_API int64_t imgcnv_row_bytes(uint32_t format, int64_t width);

/* "BayerRG12Packed 1920x1080, rows of 2880 bytes every 2944" */
IMGCNV_FRAMES_API int imgcnv_frame_describe(const imgcnv_frame* frame, char* text,
                                            size_t text_bytes);

/* What explains that a length is not that of the frames described, likeliest first. */
typedef enum imgcnv_fit {
    IMGCNV_FIT_EXACT = 0,  /* nothing to explain: one or more whole frames, skip and gap counted */
    IMGCNV_FIT_STRIDE = 1, /* value: the stride that fits */
    IMGCNV_FIT_FORMAT = 2, /* value: the code of a format that fits */
    IMGCNV_FIT_HEIGHT = 3, /* value: the height that fits */
    IMGCNV_FIT_HEADER = 4, /* value: bytes too many, before or behind the image */
    IMGCNV_FIT_CUT_SHORT = 5, /* value: whole rows that are there */
    IMGCNV_FIT_EMPTY = 6
} imgcnv_fit;

typedef struct imgcnv_file_fit {
    size_t struct_size;
    int64_t frames;    /* whole frames in the file */
    int64_t left_over; /* bytes behind the last one */
    int fit;           /* imgcnv_fit */
    int64_t value;
} imgcnv_file_fit;

/*
 * How frames fit into a file of `file_bytes`, skip and gap counted (the gap after the last frame
 * may be missing). The text explains the difference, one finding per line, likeliest first; it is
 * empty when fit is IMGCNV_FIT_EXACT. Returns IMGCNV_OK also when nothing fits.
 */
IMGCNV_FRAMES_API int imgcnv_file_measure(const imgcnv_frame* frame, int64_t file_bytes,
                                          imgcnv_file_fit* fit, char* text, size_t text_bytes);

/* ------------------------------------------------------------------------- */
/* Targets                                                                    */
/* ------------------------------------------------------------------------- */

typedef enum imgcnv_target_kind {
    IMGCNV_TARGET_MONO8 = 1,  /* 1 byte per pixel */
    IMGCNV_TARGET_RGB24 = 2,  /* 3 bytes per pixel: R, G, B */
    IMGCNV_TARGET_BGR24 = 3,  /* 3 bytes per pixel: B, G, R (OpenCV's order) */
    IMGCNV_TARGET_RGBA32 = 4, /* 4 bytes per pixel, alpha 255 */
    IMGCNV_TARGET_BGRA32 = 5,
    IMGCNV_TARGET_RAW16 = 6, /* samples as 16-bit words of the host; a mosaic stays a mosaic; RGB
                                and BGR give R, G, B. YUV and Mono1C: IMGCNV_UNSUPPORTED */
    IMGCNV_TARGET_RGB48 = 7, /* 3 16-bit words of the host per pixel */
    IMGCNV_TARGET_BGR48 = 8
} imgcnv_target_kind;

typedef enum imgcnv_demosaic {
    IMGCNV_NEAREST = 0,
    IMGCNV_BILINEAR = 1,
    IMGCNV_ADAPTIVE = 2
} imgcnv_demosaic;

enum {
    IMGCNV_TARGET_FULL_SCALE = 1, /* 16-bit targets: samples are scaled so that the largest sample
                                     of the format becomes 65535 */
    IMGCNV_TARGET_KEEP_ALPHA = 2, /* 4-byte targets take the alpha of RGBa8 and BGRa8 */
    IMGCNV_TARGET_FLIP_HORIZONTAL = 4, /* after the rotation: left and right are exchanged */
    IMGCNV_TARGET_FLIP_VERTICAL = 8,   /* after the rotation: top and bottom are exchanged */
    IMGCNV_TARGET_ANY_ALPHA = 16 /* the fourth byte of 4-byte pixels may get any value, where nobody
                                    reads it: a pass over the picture less */
};

/*
 * Levels, applied to samples at their full depth before demosaicing:
 * sample' = (sample - black) / (white - black) * gain of its colour, clamped to the range and
 * rounded to the target's depth. Then the curve, after demosaicing.
 */
typedef struct imgcnv_levels {
    size_t struct_size;
    double black;    /* in units of the format's samples: 0 to 2^depth - 1 */
    double white;    /* above black; 0: 2^depth - 1 */
    double red_gain; /* 0: 1. 0 to 64. Grey formats take green_gain. */
    double green_gain;
    double blue_gain;
    double gamma;         /* 0: 1. The curve is 255 * (v / 255) ^ (1 / gamma) */
    double contrast;      /* 0: 1. A slope about the middle */
    const uint8_t* curve; /* 3 x 256 bytes for red, green, blue instead of gamma and contrast; null:
                             none. Copied when a pipeline is opened. 8-bit targets only. */
} imgcnv_levels;

#define IMGCNV_LEVELS_INIT \
    { sizeof(imgcnv_levels), 0, 0, 0, 0, 0, 0, 0, NULL }

/* The picture that is wanted. */
typedef struct imgcnv_target {
    size_t struct_size;
    int kind;       /* imgcnv_target_kind */
    int demosaic;   /* imgcnv_demosaic; of no effect on sources that are not mosaics */
    int rotation;   /* clockwise: 0, 90, 180, 270 */
    uint32_t flags; /* IMGCNV_TARGET_... */
    int threads;    /* 1: the caller's only; n: at most n; 0: as many as pay */
    int64_t stride; /* bytes from row to row of the picture; 0: rows follow each other. Bytes
                       between rows are never touched. */
    const imgcnv_levels* levels; /* null: none. Copied when a pipeline is opened. */
} imgcnv_target;

/* RGB24, bilinear, one thread. */
#define IMGCNV_TARGET_INIT \
    { sizeof(imgcnv_target), IMGCNV_TARGET_RGB24, IMGCNV_BILINEAR, 0, 0, 1, 0, NULL }

/* Looks up "rgb24", "RGB8", "grey", "gray8", "bgr", "bgra", "raw16" ...; "nearest", "bilinear" ...
 */
IMGCNV_FRAMES_API int imgcnv_find_target(const char* name, int* kind, char* text,
                                         size_t text_bytes);
IMGCNV_FRAMES_API int imgcnv_find_demosaic(const char* name, int* demosaic, char* text,
                                           size_t text_bytes);
/* "rgb24", "bilinear"; "" for values that are none. */
IMGCNV_FRAMES_API const char* imgcnv_target_name(int kind);
IMGCNV_FRAMES_API const char* imgcnv_demosaic_name(int demosaic);

/* Channels of a target (1, 3, 4; raw16: 1, of RGB sources 3) and bytes per channel (1, 2). */
typedef struct imgcnv_picture_info {
    size_t struct_size;
    int64_t width; /* of the picture, after the rotation */
    int64_t height;
    int channels;          /* 1, 3 or 4 */
    int channel_bytes;     /* 1 or 2 */
    int64_t row_bytes;     /* width * channels * channel_bytes */
    int64_t stride;        /* the stride in force */
    int64_t picture_bytes; /* stride * (height - 1) + row_bytes: a smaller target is refused */
    int64_t source_bytes;  /* needed_bytes of the frame */
    int threads;           /* threads that work on a frame, the caller's included */
    const char* way;       /* how: "one call of libimgcnv", ...; constant */
} imgcnv_picture_info;

/* ------------------------------------------------------------------------- */
/* Pipelines                                                                  */
/* ------------------------------------------------------------------------- */

typedef struct imgcnv_pipeline imgcnv_pipeline;

/*
 * Prepares the conversion of frames like *frame to pictures like *target. skip and gap of the frame
 * are not used: a pipeline is handed frames.
 *
 *   pipeline  out: to be closed with imgcnv_pipeline_close; null on failure
 *
 * IMGCNV_BAD_ARGUMENT, IMGCNV_UNKNOWN_FORMAT, IMGCNV_UNSUPPORTED, IMGCNV_OUT_OF_MEMORY.
 */
IMGCNV_FRAMES_API int imgcnv_pipeline_open(const imgcnv_frame* frame, const imgcnv_target* target,
                                           imgcnv_pipeline** pipeline, char* text,
                                           size_t text_bytes);

/* Sizes of the picture. IMGCNV_BAD_ARGUMENT. */
IMGCNV_FRAMES_API int imgcnv_pipeline_describe(const imgcnv_pipeline* pipeline,
                                               imgcnv_picture_info* info);

/*
 * Converts one frame. Does not allocate.
 *
 *   source        the frame, read only
 *   source_bytes  at least needed_bytes of the frame, for Mono1C the length of the list. Bytes
 *                 beyond frame_bytes are not read: the caller says whether there may be more
 *   target        the picture
 *   target_bytes  at least picture_bytes
 *
 * IMGCNV_BAD_ARGUMENT, IMGCNV_BAD_SIZE, IMGCNV_BAD_DATA, IMGCNV_OVERLAP, IMGCNV_BUSY: nothing is
 * written.
 */
IMGCNV_FRAMES_API int imgcnv_pipeline_run(imgcnv_pipeline* pipeline, const void* source,
                                          size_t source_bytes, void* target, size_t target_bytes,
                                          char* text, size_t text_bytes);

/* Closes a pipeline and ends its threads. Null is allowed. */
IMGCNV_FRAMES_API void imgcnv_pipeline_close(imgcnv_pipeline* pipeline);

/* Open, run and close in one call. */
IMGCNV_FRAMES_API int imgcnv_convert_frame(const imgcnv_frame* frame, const imgcnv_target* target,
                                           const void* source, size_t source_bytes, void* picture,
                                           size_t picture_bytes, char* text, size_t text_bytes);

/*
 * Levels that make a frame look right, from the frame itself: black and white from its percentiles,
 * gains so that the mean of the picture is grey. The numbers may be repeated with later frames.
 * levels->struct_size must be set.
 */
IMGCNV_FRAMES_API int imgcnv_auto_levels(const imgcnv_frame* frame, const void* source,
                                         size_t source_bytes, imgcnv_levels* levels, char* text,
                                         size_t text_bytes);

/*
 * The inverse of every layout: writes a frame whose samples are those of a picture.
 *
 *   samples      16-bit words of the host, full scale 65535, `channels` (1 or 3) per pixel, rows
 *                without padding. A format of n bits takes the upper n of each.
 *   destination  receives frame_bytes; padding is written as 0.
 *
 * Grey formats take (299 R + 587 G + 114 B) / 1000 of three channels. Mosaics take the sample of
 * each pixel's own colour. YUV is full range unless the frame says video range, and the chroma of a
 * group is that of its mean.
 */
IMGCNV_FRAMES_API int imgcnv_pack_frame(const imgcnv_frame* frame, const uint16_t* samples,
                                        int channels, void* destination, size_t destination_bytes,
                                        char* text, size_t text_bytes);

/* ------------------------------------------------------------------------- */
/* Guessing                                                                   */
/* ------------------------------------------------------------------------- */

/* A file to be read in pieces: returns how many bytes it put into `buffer`; fewer than asked for at
   the end of the file, or -1 on an error. */
typedef int64_t (*imgcnv_read)(void* context, int64_t offset, void* buffer, int64_t bytes);

typedef struct imgcnv_guess_question {
    size_t struct_size;
    const void* data; /* the bytes, or null: `read` is called for them */
    int64_t bytes;    /* length of the data or file */
    imgcnv_read read;
    void* context;
    imgcnv_frame known;   /* what is known; 0 for what is not. skip and gap: -1 means not known. */
    const char* name;     /* the file's name; changes no answer today; may be null */
    int64_t search_bytes; /* most bytes to be read; 0: the usual */
} imgcnv_guess_question;

/* One way to read the data. */
typedef struct imgcnv_reading {
    size_t struct_size;
    imgcnv_frame frame;
    int64_t frames;
    double score;      /* 0 to 1: how much likelier than the others */
    char unknown[256]; /* what the data cannot tell, such as which of red and blue is which */
} imgcnv_reading;

/*
 * Ranks ways to read data of unknown format.
 *
 *   readings  out: the best first, then the others by score, except that readings which differ
 *             from the better ones come before those which differ from them only in their colours.
 *             The caller sets struct_size of the first, the call that of the others.
 *   most      room in readings
 *   count     out: how many were written
 *
 * The text on success: that only the length of the data speaks for the answers, since all bytes are
 * the same or look like noise; empty otherwise. What else the data could be stands in `unknown`. On
 * IMGCNV_BAD_DATA: why it is not raw at all (a PNG file, constant, too short).
 */
IMGCNV_FRAMES_API int imgcnv_guess(const imgcnv_guess_question* question, imgcnv_reading* readings,
                                   int most, int* count, char* text, size_t text_bytes);

#ifdef __cplusplus
}
#endif

#endif /* IMGCNV_FRAMES_H */
