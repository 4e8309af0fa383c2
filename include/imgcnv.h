/*
 * imgcnv.h - raw machine-vision frames to 8-bit grey, RGB or BGR.
 *
 * Usable from C99 and from C++11 on.
 *
 * A conversion takes one frame in a camera's native pixel format, described by
 * a tagIMGCNV_SOpenParam record, and writes it as Mono8, RGB24, BGR24, RGBA32
 * or BGRA32 into memory of the caller. Either keep a handle
 *
 *     IMGCNV_HANDLE handle;
 *     int bytes = 0;
 *     if (IMGCNV_open(&record, IMGCNV_PIXEL_RGB8_PACKED, &handle, &bytes,
 *                     IMGCNV_DEMOSAIC_BILINEAR) == IMGCNV_SUCCESS) {
 *         status = IMGCNV_convert(handle, source, destination);
 *         IMGCNV_close(handle);
 *     }
 *
 * or do all three in one call with one of the IMGCNV_ConvertTo... functions.
 *
 * Threads: there is no global state. Distinct handles may be used on distinct
 * threads at once; one handle must not be used by two threads at the same time.
 *
 * Memory: image buffers belong to the caller. The library allocates the
 * converter object and, during one Bayer conversion, two tables of row pointers
 * (and one scratch image for the adaptive method to Mono8). Source and
 * destination must not overlap. Buffers need no alignment. Nothing outside
 * the ranges given below is read or written.
 *
 * Buffer sizes are the caller's duty: see the note at "Destination size".
 */
#ifndef IMGCNV_H
#define IMGCNV_H

#define IMGCNV_VERSION_MAJOR 1
#define IMGCNV_VERSION_MINOR 0
#define IMGCNV_VERSION_PATCH 0

#if defined(__GNUC__)
#define IMGCNV_API __attribute__((visibility("default")))
#else
#define IMGCNV_API
#endif

/* In C++ the enumerations have a fixed 32-bit type, so that any value may be
   passed (an unknown destination or method is not an error, see below). */
#ifdef __cplusplus
#define IMGCNV_ENUM_TYPE : int
extern "C" {
#else
#define IMGCNV_ENUM_TYPE
#endif

/* ------------------------------------------------------------------------- */
/* Pixel formats                                                              */
/* ------------------------------------------------------------------------- */

/*
 * Codes of the GigE Vision / GenICam pixel format convention: colour class in
 * bits 31..24, bits per pixel in 23..16, number of the format in 15..0. The
 * library compares whole codes and never takes them apart.
 *
 * Every format may be a source but RGBA8_PACKED and BGRA8_PACKED; the
 * destinations are MONO8, RGB8_PACKED, BGR8_PACKED, RGBA8_PACKED, BGRA8_PACKED.
 *
 * Packed means the GigE Vision packing (two pixels in three bytes, the outer
 * bytes holding the high bits), not the "p" packing of later conventions.
 * 10-, 12- and 16-bit formats without "packed" are 16-bit little-endian words.
 * There is no GR Bayer order.
 */
typedef enum tagIMGCNV_EPixelFormat IMGCNV_ENUM_TYPE {
    IMGCNV_PIXEL_UNDEFINED = -1, /* never a valid argument */

    IMGCNV_PIXEL_MONO1P = 0x01010037,        /* 8 pixels per byte, first pixel in bit 0 */
    IMGCNV_PIXEL_MONO4P = 0x01040039,        /* 2 pixels per byte, first in bits 0..3 */
    IMGCNV_PIXEL_MONO8 = 0x01080001,         /* source and destination */
    IMGCNV_PIXEL_MONO10 = 0x01100003,        /* 16-bit words, value in bits 0..9 */
    IMGCNV_PIXEL_MONO10_PACKED = 0x010C0004, /* 2 pixels in 3 bytes */
    IMGCNV_PIXEL_MONO12 = 0x01100005,        /* 16-bit words, value in bits 0..11 */
    IMGCNV_PIXEL_MONO12_PACKED = 0x010C0006, /* 2 pixels in 3 bytes */
    IMGCNV_PIXEL_MONO16 = 0x01100007,        /* 16-bit words */

    IMGCNV_PIXEL_RGB8_PACKED = 0x02180014,  /* R, G, B; destination RGB24 */
    IMGCNV_PIXEL_BGR8_PACKED = 0x02180015,  /* B, G, R; destination BGR24 */
    IMGCNV_PIXEL_RGBA8_PACKED = 0x02200016, /* R, G, B, alpha; destination RGBA32 only */
    IMGCNV_PIXEL_BGRA8_PACKED = 0x02200017, /* B, G, R, alpha; destination BGRA32 only */

    /* Bayer mosaics. The two letters are the first two samples of the first row. */
    IMGCNV_PIXEL_BAYER_RG8 = 0x01080009,
    IMGCNV_PIXEL_BAYER_GB8 = 0x0108000A,
    IMGCNV_PIXEL_BAYER_BG8 = 0x0108000B,
    IMGCNV_PIXEL_BAYER_RG10 = 0x0110000D,
    IMGCNV_PIXEL_BAYER_GB10 = 0x0110000E,
    IMGCNV_PIXEL_BAYER_BG10 = 0x0110000F,
    IMGCNV_PIXEL_BAYER_RG12 = 0x01100011,
    IMGCNV_PIXEL_BAYER_GB12 = 0x01100012,
    IMGCNV_PIXEL_BAYER_BG12 = 0x01100013,
    IMGCNV_PIXEL_BAYER_RG10_PACKED = 0x010C0027,
    IMGCNV_PIXEL_BAYER_GB10_PACKED = 0x010C0028,
    IMGCNV_PIXEL_BAYER_BG10_PACKED = 0x010C0029,
    IMGCNV_PIXEL_BAYER_RG12_PACKED = 0x010C002B,
    IMGCNV_PIXEL_BAYER_GB12_PACKED = 0x010C002C,
    IMGCNV_PIXEL_BAYER_BG12_PACKED = 0x010C002D,

    IMGCNV_PIXEL_YUV411_PACKED = 0x020C001E,      /* U Y0 Y1 V Y2 Y3, 4 pixels */
    IMGCNV_PIXEL_YUV422_PACKED = 0x0210001F,      /* U Y0 V Y1, 2 pixels */
    IMGCNV_PIXEL_YUV422_YUYV_PACKED = 0x02100032, /* Y0 U Y1 V, 2 pixels */
    IMGCNV_PIXEL_YUV444_PACKED = 0x02180020,      /* U Y V, 1 pixel */

    /*
     * A list of grey points, not a raster; a format of this library. Each
     * point is 4 bytes: the value, then a big-endian 24-bit number P with
     * row = P >> 12 and column = P & 0xFFF, both counted from 1. Four zero
     * bytes end the list; so does reaching dataSize. Rows and columns of 0
     * must not be sent: they are not refused and address memory before the
     * point's row.
     */
    IMGCNV_PIXEL_MONO1C = 0x012000FF
} IMGCNV_EPixelFormat;

/* ------------------------------------------------------------------------- */
/* Description of a frame                                                     */
/* ------------------------------------------------------------------------- */

/* Six 32-bit fields, 24 bytes, no padding. */
typedef struct tagIMGCNV_SOpenParam {
    int width;      /* pixels per row, >= 1. Bayer frames of two and more rows take
                       their row length from dataSize, height and rowPadding. */
    int height;     /* rows, >= 1 */
    int rowPadding; /* bytes after the pixels of each source row; not checked.
                       They have no effect, but up to 16 pixels of them may be
                       read. Ignored by Mono1p, Mono4p and Mono1C, by one-row
                       Bayer frames and by the flips and rotations. */
    int reserved;   /* no effect */
    int dataSize;   /* bytes of the source buffer, >= 1. A Bayer row begins every
                       dataSize / height bytes; RGB8 to RGB24 and BGR8 to BGR24
                       copy exactly dataSize bytes. */
    enum tagIMGCNV_EPixelFormat pixelFormat; /* format of the source buffer */
} IMGCNV_SOpenParam;

/*
 * How a Bayer mosaic becomes colour. Other sources ignore it. With any other
 * value a Bayer frame of two or more rows is not converted at all: the status
 * is 0 and the destination keeps its bytes.
 */
typedef enum tagIMGCNV_EBayerDemosaic IMGCNV_ENUM_TYPE {
    IMGCNV_DEMOSAIC_NEAREST = 0,  /* 2x2 block replication */
    IMGCNV_DEMOSAIC_BILINEAR = 1, /* averages of neighbours; what the functions
                                     without _Ex use */
    IMGCNV_DEMOSAIC_ADAPTIVE = 2  /* gradient-corrected */
} IMGCNV_EBayerDemosaic;

/* ------------------------------------------------------------------------- */
/* Results                                                                    */
/* ------------------------------------------------------------------------- */

/* Every function returns one of these. */
typedef enum tagIMGCNV_EStatus IMGCNV_ENUM_TYPE {
    IMGCNV_SUCCESS = 0,
    IMGCNV_ILLEGAL_PARAM = 1, /* a pointer, size or image content is invalid */
    IMGCNV_ERR_ORDER = 2,     /* conversion asked of a converter never opened */
    IMGCNV_NO_MEMORY = 3,     /* an allocation failed */
    IMGCNV_NOT_SUPPORT = 4    /* pixelFormat is not a source format */
} IMGCNV_EStatus;

/* An open converter. Valid from IMGCNV_open until IMGCNV_close. */
typedef void* IMGCNV_HANDLE;

/*
 * Destination size
 *
 * With k = 1 (Mono8), 3 (RGB24, BGR24) or 4 (any other code), IMGCNV_open and
 * the IMGCNV_ConvertTo... functions report, in 32-bit arithmetic that wraps:
 *
 *     Bayer                      width * k * rows, where rows = height when it
 *                                is even or 1, else height + 1
 *     Mono1C                     width * height
 *     Mono1p, Mono16, BGR8       nothing: the size variable keeps its value
 *     all others                 width * height * k
 *
 * What is written, and the caller's buffer must hold, can differ:
 *
 *     Bayer, 2 rows or more      W * k * rows, W being the row length that
 *                                follows from dataSize; an odd height has an
 *                                extra row after the picture. Nearest leaves the
 *                                last column of an odd W alone; adaptive leaves
 *                                one pixel of it alone, and the alpha bytes of
 *                                the last row and column.
 *     Mono1p                     8 * (width * height / 8), one byte per pixel
 *                                whatever the destination
 *     Mono1C                     width * height, one byte per pixel likewise
 *     Mono16                     width * height * k
 *     Mono10Packed, Mono12Packed with an odd width: (width - 1) * height * k
 *     RGB8 -> RGB24,             dataSize (row padding is copied along)
 *       BGR8 -> BGR24
 *     BGR8 to others             width * height * k
 *     YUV                        whole groups: the width of a row is rounded up
 *                                to 2 (4:2:2) or 4 (4:1:1) pixels
 *
 * Alpha bytes are written as 0. Grey made from colour is
 * (0.299 R + 0.587 G) + 0.114 B in double precision, truncated, with the
 * weights of ITU-R BT.601. YUV is full-range BT.601 in 8-bit fixed point.
 * Deep samples lose their low bits; nothing is rounded.
 */

/* ------------------------------------------------------------------------- */
/* Conversion with a handle                                                   */
/* ------------------------------------------------------------------------- */

/*
 * Opens a converter for frames like *param.
 *
 *   param     frame description; copied, may change or go afterwards
 *   dstFormat destination. A code that is not a destination is accepted: Bayer
 *             frames then become BGR24, RGB8 and BGR8 write nothing, all others
 *             the 4-byte layout in B, G, R order. The size counts 4 bytes.
 *   handle    out: the converter, to be closed with IMGCNV_close
 *   dstSize   out: destination bytes, see "Destination size"; must be valid
 *   demosaic  Bayer method
 *
 * IMGCNV_ILLEGAL_PARAM  handle or param is null; width, height or dataSize < 1
 * IMGCNV_NO_MEMORY      no memory for the converter
 * IMGCNV_NOT_SUPPORT    param->pixelFormat is not a source format
 * On failure *handle and *dstSize keep their values and nothing stays allocated.
 */
IMGCNV_API int IMGCNV_open(struct tagIMGCNV_SOpenParam* param,
                           enum tagIMGCNV_EPixelFormat dstFormat, IMGCNV_HANDLE* handle,
                           int* dstSize, enum tagIMGCNV_EBayerDemosaic demosaic);

/*
 * Converts one frame. May be called any number of times with one handle.
 *
 *   src  the frame, read only
 *   dst  the picture; see "Destination size"
 *
 * IMGCNV_ILLEGAL_PARAM  handle, src or dst is null, nothing written; or a Mono1C
 *                       point lies beyond width or height: dst is then cleared
 *                       and holds the points before it
 * IMGCNV_NO_MEMORY      no memory for a Bayer conversion; dst is untouched. In
 *                       the adaptive method to Mono8 the row table, and scratch
 *                       already taken, stay allocated.
 */
IMGCNV_API int IMGCNV_convert(IMGCNV_HANDLE handle, unsigned char* src, unsigned char* dst);

/* Closes a converter. IMGCNV_ILLEGAL_PARAM when handle is null. */
IMGCNV_API int IMGCNV_close(IMGCNV_HANDLE handle);

/* ------------------------------------------------------------------------- */
/* Conversion in one call                                                     */
/* ------------------------------------------------------------------------- */

/*
 * Open, convert and close. Note the order: source, record, destination, size.
 *
 *   src      the frame, read only
 *   param    its description
 *   dst      the picture; see "Destination size"
 *   dstSize  in and out: destination bytes; must be valid. Mono1p, Mono16 and
 *            BGR8 report no size: preset it to something other than 0.
 *
 * IMGCNV_ILLEGAL_PARAM  param, src or dst is null; width, height or dataSize
 *                       < 1; *dstSize is 0 after opening (the converter then
 *                       stays allocated)
 * others                as IMGCNV_open and IMGCNV_convert; when the conversion
 *                       itself fails the converter stays allocated. Use a handle
 *                       where that matters.
 */
IMGCNV_API int IMGCNV_ConvertToMono8(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                     unsigned char* dst, int* dstSize);
IMGCNV_API int IMGCNV_ConvertToRGB24(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                     unsigned char* dst, int* dstSize);
IMGCNV_API int IMGCNV_ConvertToBGR24(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                     unsigned char* dst, int* dstSize);

/* The same with the Bayer method given. */
IMGCNV_API int IMGCNV_ConvertToMono8_Ex(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                        unsigned char* dst, int* dstSize,
                                        enum tagIMGCNV_EBayerDemosaic demosaic);
IMGCNV_API int IMGCNV_ConvertToRGB24_Ex(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                        unsigned char* dst, int* dstSize,
                                        enum tagIMGCNV_EBayerDemosaic demosaic);
IMGCNV_API int IMGCNV_ConvertToBGR24_Ex(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                        unsigned char* dst, int* dstSize,
                                        enum tagIMGCNV_EBayerDemosaic demosaic);
IMGCNV_API int IMGCNV_ConvertToBGRA32_Ex(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                         unsigned char* dst, int* dstSize,
                                         enum tagIMGCNV_EBayerDemosaic demosaic);

/*
 * This one is exported under its C++ symbol, which callers of dlsym must use:
 * _Z25IMGCNV_ConvertToRGBA32_ExPhP20tagIMGCNV_SOpenParamS_Pi24tagIMGCNV_EBayerDemosaic
 */
#ifdef __cplusplus
extern "C++" {
IMGCNV_API int IMGCNV_ConvertToRGBA32_Ex(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                         unsigned char* dst, int* dstSize,
                                         enum tagIMGCNV_EBayerDemosaic demosaic);
}
#else
IMGCNV_API int IMGCNV_ConvertToRGBA32_Ex(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                         unsigned char* dst, int* dstSize,
                                         enum tagIMGCNV_EBayerDemosaic demosaic)
    __asm__("_Z25IMGCNV_ConvertToRGBA32_ExPhP20tagIMGCNV_SOpenParamS_Pi24tagIMGCNV_"
            "EBayerDemosaic");
#endif

/* ------------------------------------------------------------------------- */
/* Mirror and rotate                                                          */
/* ------------------------------------------------------------------------- */

/*
 * Work on converted pictures: Mono8, RGB8_PACKED or BGR8_PACKED, rows without
 * padding. No handle, no allocation; not in place.
 *
 *   src      the picture, read only
 *   param    its description; dataSize must be width * height * bytes per pixel.
 *            rowPadding is not read.
 *   dst      receives dataSize bytes
 *   dstSize  out: dataSize
 *
 * IMGCNV_ILLEGAL_PARAM  param, src, dst or dstSize is null; width, height or
 *                       dataSize < 1; another pixel format; another dataSize.
 *                       Nothing is written then, *param included.
 *
 * The quarter turns (90: clockwise, 270: counter-clockwise) exchange width and
 * height in *param on success, so that it describes the turned picture.
 */
IMGCNV_API int IMGCNV_FlipToHorizontal(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                       unsigned char* dst, int* dstSize);
IMGCNV_API int IMGCNV_FlipToVertical(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                     unsigned char* dst, int* dstSize);
IMGCNV_API int IMGCNV_RotationToAngle90(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                        unsigned char* dst, int* dstSize);
IMGCNV_API int IMGCNV_RotationToAngle180(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                         unsigned char* dst, int* dstSize);
IMGCNV_API int IMGCNV_RotationToAngle270(unsigned char* src, struct tagIMGCNV_SOpenParam* param,
                                         unsigned char* dst, int* dstSize);

#ifdef __cplusplus
}
#endif

#undef IMGCNV_ENUM_TYPE

#endif /* IMGCNV_H */
