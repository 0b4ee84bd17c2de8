/*
 * vobrex32 — signal processing for the 512 x 512 colour-mosaic CCD camera.
 *
 * The public C interface: the 208-byte settings record `CameraModes`, the
 * colour-gain record and the 24 exported calls. Usable from C and C++.
 *
 * Results: image calls return 1 on success and 0 on failure; setters map
 * out-of-range arguments to fixed fall-backs and never report. Every call
 * made before VobrexInit (or after VobrexExit) does nothing and returns 0.
 *
 * Image output: 24-bit pixels in the order blue, green, red, rows stored
 * bottom-up without padding, behind an optional 14-byte file header and a
 * 40-byte information header (see `framing`).
 *
 * What a caller can rely on, whatever the settings hold (SetModes copies any
 * 208 bytes in unchecked):
 *
 *  - Buffers. Size them from the settings of the call: the raw frame holds
 *    the sample count of the resolution last chosen with SetResolution or
 *    SetMotionResolution (262144 bytes for codes 0, 11 and 13, 524288 for 21
 *    and 23, 1048576 for 40; codes 10 and 20 keep the count of the code
 *    before); the pixels of VX_CCDtoRGB and GetVFWImage hold imageBytes as
 *    GetImageSize reports it; the image block of ReadPreviewImage holds the
 *    header of `framing` ('3' 54 bytes, '2' 40, '4' none) plus imageBytes,
 *    and at least 40 bytes for any other framing value (the information
 *    header then goes over the first pixels). The library reads no byte of
 *    the raw frame past that count and writes no byte past those sizes; it
 *    reads and writes nothing else of the caller's.
 *  - Refusal. A conversion whose settings cannot be served within those
 *    buffers returns 0 and writes no pixel: a sub-mode or size whose image
 *    is larger than imageBytes, an unknown preview sub-mode, an imageBytes
 *    above 2^31 - 1 for the still and video calls, a GetVFWImage code no
 *    still path converts, a raw block of ReadCamImage shorter than the
 *    sample count. The documented fall-backs stay as they are: a still with
 *    an unknown sub-mode converts at 640 x 480 (code 13; 1260 x 960 for code
 *    40) and rewrites `resolution`, `width`, `height` and `imageBytes`
 *    accordingly (a frame whose buffer was sized before and is now too small
 *    is refused); ReadCamImage gives an all-zero image for a code no still
 *    path converts (0 and 20 among them); manual white-balance factors of
 *    exactly 1.0 mean no balance.
 *  - What a 0 leaves behind. ReadCamImage: *frame unchanged, the raw block
 *    whole and still owned by the caller (it may stay locked). GetVFWImage:
 *    the pixels untouched. The preview calls: the pixels untouched, except
 *    after a due automatic estimate that finds a channel level of 0 (the
 *    image was converted, the gains were not updated); the raw frame may
 *    already be rewritten by the raw-domain white balance, except when its
 *    working buffer could not be allocated.
 *  - Memory. Every working buffer is checked. A buffer the image cannot do
 *    without that cannot be had makes the call return 0; one of an optional
 *    stage (white-balance tables, copies of the filters and the sharpening)
 *    makes the call return 1 without that stage. Each conversion frees what
 *    it allocated before returning; the white-balance tables stay until
 *    VobrexExit. Nothing leaks on any path.
 *  - Threads. None of its own and no locks: serialise every call, setters
 *    included.
 */
#ifndef VOBREX32_H
#define VOBREX32_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#include <windows.h>
#endif

#if defined(_WIN32)
#if defined(VOBREX_BUILDING_DLL)
#define VOBREX_API __declspec(dllexport)
#elif defined(VOBREX_STATIC)
#define VOBREX_API
#else
#define VOBREX_API __declspec(dllimport)
#endif
#define VOBREX_CALL __stdcall
#else
#define VOBREX_API __attribute__((visibility("default")))
#define VOBREX_CALL
#endif

#ifdef __cplusplus
#define VOBREX_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
extern "C" {
#else
#define VOBREX_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#if !defined(_WIN32)
/* A movable global-memory block, as exchanged by ReadPreviewImage and
 * ReadCamImage. On other platforms the library provides the five calls below
 * with the semantics of their Windows namesakes. */
typedef void* HGLOBAL;
#define VOBREX_GMEM_MOVEABLE 0x0002u
#define VOBREX_GMEM_ZEROINIT 0x0040u
#define VOBREX_GMEM_SHARE 0x2000u
VOBREX_API HGLOBAL VobrexGlobalAlloc(unsigned flags, size_t bytes);
VOBREX_API void* VobrexGlobalLock(HGLOBAL block);
VOBREX_API int VobrexGlobalUnlock(HGLOBAL block);
VOBREX_API HGLOBAL VobrexGlobalFree(HGLOBAL block); /* NULL on success */
VOBREX_API size_t VobrexGlobalSize(HGLOBAL block);
#endif

/* The settings record. Its layout is part of the binary interface: callers
 * keep copies and pass them back whole through SetModes. All multi-byte
 * fields are little-endian. */
typedef struct CameraModes {
  int16_t width;          /*   0 output width in pixels */
  int16_t height;         /*   2 output height in pixels */
  uint32_t imageBytes;    /*   4 width x height x 3 */
  uint8_t resolution;     /*   8 resolution code: 0, 10, 13, 20, 23, 40 */
  uint8_t reserved9;      /*   9 */
  uint8_t sensorMode;     /*  10 read-out sub-mode */
  uint8_t outputFormat;   /*  11 0 grey, 1 colour, 2 grey with 1024 spare bytes */
  uint8_t wideRange;      /*  12 samples went through the expanding table */
  uint8_t mirror;         /*  13 orientation flag */
  uint8_t reserved14;     /*  14 */
  uint8_t flip;           /*  15 orientation flag */
  uint32_t sharpenOn;     /*  16 sharpen finished stills */
  uint32_t defectFixOn;   /*  20 repair defective sensor sites */
  int32_t contrast;       /*  24 tone curve, neutral 0 */
  int32_t brightness;     /*  28 tone curve, neutral 0 */
  int32_t gamma;          /*  32 tone curve in hundredths, neutral 100 */
  int32_t toneLevel1;     /*  36 black level of blue, neutral 1 */
  int32_t toneLevel2;     /*  40 black level of green, neutral 1 */
  int32_t toneLevel3;     /*  44 black level of red, neutral 1 */
  uint8_t optionQ;        /*  48 option 'q' */
  uint8_t reserved49[3];  /*  49 */
  uint32_t optionR;       /*  52 option 'r': measure focus in the preview */
  uint32_t optionS;       /*  56 option 's' */
  uint32_t focusX;        /*  60 focus window position */
  uint32_t focusY;        /*  64 */
  uint8_t reserved68[4];  /*  68 */
  double focusValue;      /*  72 last focus indication */
  uint32_t stillFilter;   /*  80 option 'u': alternative still filters */
  uint32_t optionV;       /*  84 option 'v': pair smoothing of still fields */
  uint8_t vfwWideRange;   /*  88 GetVFWImage widens and white-balances */
  uint8_t wbStatus;       /*  89 dominant channel of the last estimate */
  uint8_t wbStatus2;      /*  90 weakest channel of the last estimate */
  uint8_t gainAdjust;     /*  91 manual colour-gain mode */
  uint16_t ratioR;        /*  92 channel levels of the white balance */
  uint16_t ratioG;        /*  94 */
  uint16_t ratioB;        /*  96 */
  uint8_t reserved98[6];  /*  98 */
  double wbFactorR;       /* 104 manual white-balance factors */
  double wbFactorG;       /* 112 */
  double wbFactorB;       /* 120 */
  int32_t wbMemo;         /* 128 */
  int32_t semiFactors[7]; /* 132 semi-automatic reference, -1 = not measured */
  uint8_t optionF;        /* 160 option 'f' */
  uint8_t reserved161;    /* 161 */
  uint8_t reserved162[2]; /* 162 */
  uint16_t reserved164;   /* 164 */
  uint16_t reserved166;   /* 166 */
  uint8_t sharpenAllow;   /* 168 option 'g' */
  uint8_t reserved169[3]; /* 169 */
  int32_t sharpShift;     /* 172 sharpening shift (shift mode) */
  int32_t sharpDivisor3;  /* 176 3x3 divisor in hundredths */
  int32_t sharpDivisor7;  /* 180 7x7 divisor in hundredths */
  int32_t sharpCoring;    /* 184 7x7 coring threshold */
  int32_t wbOnly;         /* 188 option 't' */
  int32_t wbMode;         /* 192 option 'h': 0 manual, 1 and 2 automatic */
  uint8_t framing;        /* 196 '2' info header, '3' file+info header, '4' none */
  uint8_t reserved197[3]; /* 197 */
  int32_t wbExtra;        /* 200 option 'i': gain by sensor position */
  uint8_t gainTable;      /* 204 selector of the position-gain table */
  uint8_t sharpMode;      /* 205 option 'p': 0 divisor, 1 shift */
  uint8_t optionN;        /* 206 option 'n' */
  uint8_t sharpness;      /* 207 reported by GetSharpness */
} CameraModes;

#define VOBREX_CHECK_OFFSET(field, off) \
  VOBREX_STATIC_ASSERT(offsetof(CameraModes, field) == (off), "CameraModes." #field " offset")
VOBREX_STATIC_ASSERT(sizeof(CameraModes) == 208, "CameraModes is 208 bytes");
VOBREX_CHECK_OFFSET(width, 0);
VOBREX_CHECK_OFFSET(height, 2);
VOBREX_CHECK_OFFSET(imageBytes, 4);
VOBREX_CHECK_OFFSET(resolution, 8);
VOBREX_CHECK_OFFSET(reserved9, 9);
VOBREX_CHECK_OFFSET(sensorMode, 10);
VOBREX_CHECK_OFFSET(outputFormat, 11);
VOBREX_CHECK_OFFSET(wideRange, 12);
VOBREX_CHECK_OFFSET(mirror, 13);
VOBREX_CHECK_OFFSET(reserved14, 14);
VOBREX_CHECK_OFFSET(flip, 15);
VOBREX_CHECK_OFFSET(sharpenOn, 16);
VOBREX_CHECK_OFFSET(defectFixOn, 20);
VOBREX_CHECK_OFFSET(contrast, 24);
VOBREX_CHECK_OFFSET(brightness, 28);
VOBREX_CHECK_OFFSET(gamma, 32);
VOBREX_CHECK_OFFSET(toneLevel1, 36);
VOBREX_CHECK_OFFSET(toneLevel2, 40);
VOBREX_CHECK_OFFSET(toneLevel3, 44);
VOBREX_CHECK_OFFSET(optionQ, 48);
VOBREX_CHECK_OFFSET(optionR, 52);
VOBREX_CHECK_OFFSET(optionS, 56);
VOBREX_CHECK_OFFSET(focusX, 60);
VOBREX_CHECK_OFFSET(focusY, 64);
VOBREX_CHECK_OFFSET(reserved68, 68);
VOBREX_CHECK_OFFSET(focusValue, 72);
VOBREX_CHECK_OFFSET(stillFilter, 80);
VOBREX_CHECK_OFFSET(optionV, 84);
VOBREX_CHECK_OFFSET(vfwWideRange, 88);
VOBREX_CHECK_OFFSET(wbStatus, 89);
VOBREX_CHECK_OFFSET(wbStatus2, 90);
VOBREX_CHECK_OFFSET(gainAdjust, 91);
VOBREX_CHECK_OFFSET(ratioR, 92);
VOBREX_CHECK_OFFSET(ratioG, 94);
VOBREX_CHECK_OFFSET(ratioB, 96);
VOBREX_CHECK_OFFSET(reserved98, 98);
VOBREX_CHECK_OFFSET(wbFactorR, 104);
VOBREX_CHECK_OFFSET(wbFactorG, 112);
VOBREX_CHECK_OFFSET(wbFactorB, 120);
VOBREX_CHECK_OFFSET(wbMemo, 128);
VOBREX_CHECK_OFFSET(semiFactors, 132);
VOBREX_CHECK_OFFSET(optionF, 160);
VOBREX_CHECK_OFFSET(reserved161, 161);
VOBREX_CHECK_OFFSET(reserved162, 162);
VOBREX_CHECK_OFFSET(reserved164, 164);
VOBREX_CHECK_OFFSET(reserved166, 166);
VOBREX_CHECK_OFFSET(sharpenAllow, 168);
VOBREX_CHECK_OFFSET(sharpShift, 172);
VOBREX_CHECK_OFFSET(sharpDivisor3, 176);
VOBREX_CHECK_OFFSET(sharpDivisor7, 180);
VOBREX_CHECK_OFFSET(sharpCoring, 184);
VOBREX_CHECK_OFFSET(wbOnly, 188);
VOBREX_CHECK_OFFSET(wbMode, 192);
VOBREX_CHECK_OFFSET(framing, 196);
VOBREX_CHECK_OFFSET(reserved197, 197);
VOBREX_CHECK_OFFSET(wbExtra, 200);
VOBREX_CHECK_OFFSET(gainTable, 204);
VOBREX_CHECK_OFFSET(sharpMode, 205);
VOBREX_CHECK_OFFSET(optionN, 206);
VOBREX_CHECK_OFFSET(sharpness, 207);
#undef VOBREX_CHECK_OFFSET

/* The colour-gain record kept beside the settings (72 bytes). Only
 * AdjustColorGain writes it; no conversion reads it. */
typedef struct ColorGainRecord {
  uint8_t gainAdjusted;  /*  0 set by AdjustColorGain */
  uint8_t reserved1[3];  /*  1 */
  uint16_t gainR;        /*  4 */
  uint16_t gainG;        /*  6 */
  uint16_t gainB;        /*  8 */
  uint8_t reserved10[30]; /* 10 */
  int32_t gainMemo;      /* 40 */
  uint8_t reserved44[28]; /* 44 */
} ColorGainRecord;

VOBREX_STATIC_ASSERT(sizeof(ColorGainRecord) == 72, "ColorGainRecord is 72 bytes");
VOBREX_STATIC_ASSERT(offsetof(ColorGainRecord, gainR) == 4, "ColorGainRecord.gainR offset");
VOBREX_STATIC_ASSERT(offsetof(ColorGainRecord, gainG) == 6, "ColorGainRecord.gainG offset");
VOBREX_STATIC_ASSERT(offsetof(ColorGainRecord, gainB) == 8, "ColorGainRecord.gainB offset");
VOBREX_STATIC_ASSERT(offsetof(ColorGainRecord, gainMemo) == 40, "ColorGainRecord.gainMemo offset");

/* Lifecycle. VobrexInit returns 1 when it brought the library up and 0 when
 * it was already up; VobrexExit releases everything and returns 1 (0 when the
 * library was not up), after which VobrexInit starts afresh. */
VOBREX_API int VOBREX_CALL VobrexInit(void);
VOBREX_API int VOBREX_CALL VobrexExit(void);

/* The settings record, copied whole (no checks, nothing recomputed). */
VOBREX_API void VOBREX_CALL SetModes(const CameraModes* modes);
VOBREX_API void VOBREX_CALL GetModes(CameraModes* modes);

/* Resolution. Codes and sub-modes are taken as signed 8-bit values. */
VOBREX_API void VOBREX_CALL SetResolution(int code, int subMode);
VOBREX_API void VOBREX_CALL SetMotionResolution(int subMode);
VOBREX_API int VOBREX_CALL GetImageSize(int* width, int* height, int* imageBytes);

/* Options and parameters. Letters, values, operations and channels are taken
 * as signed 8-bit values; AdjustColorGain's value as an unsigned 8-bit one. */
VOBREX_API int VOBREX_CALL SetOption(int letter, int value);
VOBREX_API int VOBREX_CALL SetOrientation(int operation);
VOBREX_API void VOBREX_CALL SetWbFactors(double r, double g, double b);
VOBREX_API void VOBREX_CALL SetFocusFactors(int sharpenOn, int defectFixOn);
VOBREX_API void VOBREX_CALL SetCBFactors(int contrast, int brightness, int gamma, int level1,
                                         int level2, int level3);
VOBREX_API void VOBREX_CALL SetFocusCoord(int x, int y);
VOBREX_API double VOBREX_CALL FocusIndication(void);
/* Returns seven values in a block from the C runtime's malloc; free() it. */
VOBREX_API int* VOBREX_CALL WbSemiFactors(void);
VOBREX_API void VOBREX_CALL WbSemiFactorsRestore(int f1, int f2, int f3, int f4, int f5, int f6,
                                                 int f7);
VOBREX_API int VOBREX_CALL SetRGBratio(unsigned short r, unsigned short g, unsigned short b);
VOBREX_API int VOBREX_CALL GetRGBratio(int* r, int* g, int* b);
VOBREX_API int VOBREX_CALL AdjustColorGain(int channel, int value);
VOBREX_API unsigned char VOBREX_CALL GetSharpness(void);

/* Preview images: `raw` holds the sensor read-out of the current motion
 * sub-mode and may be rewritten in place (raw-domain white balance);
 * `image` must hold the header of `framing` plus imageBytes. */
VOBREX_API int VOBREX_CALL ReadPreviewImage(HGLOBAL* image, HGLOBAL* raw);
VOBREX_API int VOBREX_CALL VX_CCDtoRGB(uint8_t* raw, uint8_t* pixels);

/* Still and video images. ReadCamImage replaces the raw block in *frame by
 * a new block holding header and pixels; on failure *frame is unchanged. */
VOBREX_API int VOBREX_CALL ReadCamImage(HGLOBAL* frame);
VOBREX_API int VOBREX_CALL GetVFWImage(const uint8_t* raw, uint8_t* pixels, int code);

#ifdef __cplusplus
}
#endif

#endif /* VOBREX32_H */
