/* A capture application's view of vobrex32: load the library by name,
 * resolve every call by its exported name, call each through a pointer of the
 * standard calling convention, and convert generated raw frames through every
 * path with several settings. Every result goes to a file of its own in the
 * current directory; the same source built for Windows (run under Wine) and
 * for Linux must write identical files.
 *
 * Usage: client [library]   (default: vobrex32.dll beside the program)
 * Exit status: 0 when the library loaded, every name resolved and no call
 * disturbed the stack; 1 otherwise. Conversion results are not judged here. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "client_platform.h"
#include "vobrex32.h"

/* ---- The calls, as an application declares them ---------------------- */

typedef struct Api {
  int(CLIENT_STDCALL* VobrexInit)(void);
  int(CLIENT_STDCALL* VobrexExit)(void);
  void(CLIENT_STDCALL* SetModes)(const CameraModes*);
  void(CLIENT_STDCALL* GetModes)(CameraModes*);
  void(CLIENT_STDCALL* SetResolution)(int, int);
  void(CLIENT_STDCALL* SetMotionResolution)(int);
  int(CLIENT_STDCALL* GetImageSize)(int*, int*, int*);
  int(CLIENT_STDCALL* SetOption)(int, int);
  int(CLIENT_STDCALL* SetOrientation)(int);
  void(CLIENT_STDCALL* SetWbFactors)(double, double, double);
  void(CLIENT_STDCALL* SetFocusFactors)(int, int);
  void(CLIENT_STDCALL* SetCBFactors)(int, int, int, int, int, int);
  void(CLIENT_STDCALL* SetFocusCoord)(int, int);
  double(CLIENT_STDCALL* FocusIndication)(void);
  int*(CLIENT_STDCALL* WbSemiFactors)(void);
  void(CLIENT_STDCALL* WbSemiFactorsRestore)(int, int, int, int, int, int, int);
  int(CLIENT_STDCALL* SetRGBratio)(unsigned short, unsigned short, unsigned short);
  int(CLIENT_STDCALL* GetRGBratio)(int*, int*, int*);
  int(CLIENT_STDCALL* AdjustColorGain)(int, int);
  unsigned char(CLIENT_STDCALL* GetSharpness)(void);
  int(CLIENT_STDCALL* ReadPreviewImage)(HGLOBAL*, HGLOBAL*);
  int(CLIENT_STDCALL* VX_CCDtoRGB)(uint8_t*, uint8_t*);
  int(CLIENT_STDCALL* ReadCamImage)(HGLOBAL*);
  int(CLIENT_STDCALL* GetVFWImage)(const uint8_t*, uint8_t*, int);
} Api;

static Api api;

/* The export table: name, bytes of arguments the callee pops, and whether
 * the result comes back on the x87 stack. */
typedef struct Export {
  const char* name;
  int argumentBytes;
  int returnsDouble;
} Export;

/* clang-format off */
static const Export kExports[24] = {
    {"_VobrexInit@0", 0, 0},
    {"_VobrexExit@0", 0, 0},
    {"_SetModes@4", 4, 0},
    {"_GetModes@4", 4, 0},
    {"_SetResolution@8", 8, 0},
    {"_SetMotionResolution@4", 4, 0},
    {"_GetImageSize@12", 12, 0},
    {"_SetOption@8", 8, 0},
    {"_SetOrientation@4", 4, 0},
    {"_SetWbFactors@24", 24, 0},
    {"_SetFocusFactors@8", 8, 0},
    {"_SetCBFactors@24", 24, 0},
    {"_SetFocusCoord@8", 8, 0},
    {"_FocusIndication@0", 0, 1},
    {"_WbSemiFactors@0", 0, 0},
    {"_WbSemiFactorsRestore@28", 28, 0},
    {"_SetRGBratio@12", 12, 0},
    {"_GetRGBratio@12", 12, 0},
    {"_AdjustColorGain@8", 8, 0},
    {"?GetSharpness@@YGEXZ", 0, 0},
    {"ReadPreviewImage", 8, 0},
    {"ReadCamImage", 4, 0},
    {"_VX_CCDtoRGB@8", 8, 0},
    {"_GetVFWImage@12", 12, 0},
};
/* clang-format on */

static int faults = 0;

static void Fault(const char* what, const char* detail) {
  fprintf(stderr, "client: %s: %s\n", what, detail);
  ++faults;
}

/* ---- Stack discipline -------------------------------------------------
 * On 32-bit x86 a callee that does not pop its arguments, or pops the wrong
 * number of bytes, leaves the stack pointer moved after the call. Every call
 * is bracketed by two readings of the stack pointer; the probe below also
 * measures, for each export, how many argument bytes it pops. */

#if defined(_WIN32) && defined(__i386__)
#define CLIENT_CHECKS_STACK 1
#define READ_STACK_POINTER(v) __asm__ volatile("movl %%esp, %0" : "=r"(v))

/* int ProbeArgumentBytes(void* call, int argumentBytes, int returnsDouble):
 * pushes argumentBytes of zeros, calls, and returns how many of those bytes
 * the callee left on the stack (0 for a correct stdcall callee). */
int __cdecl ProbeArgumentBytes(void* call, int argumentBytes, int returnsDouble);
__asm__(
    ".text\n"
    ".globl _ProbeArgumentBytes\n"
    "_ProbeArgumentBytes:\n"
    "  pushl %ebp\n"
    "  movl %esp, %ebp\n"
    "  pushl %esi\n"
    "  movl %esp, %esi\n"
    "  movl 12(%ebp), %ecx\n"
    "  shrl $2, %ecx\n"
    "1:\n"
    "  testl %ecx, %ecx\n"
    "  jz 2f\n"
    "  pushl $0\n"
    "  decl %ecx\n"
    "  jmp 1b\n"
    "2:\n"
    "  call *8(%ebp)\n"
    "  cmpl $0, 16(%ebp)\n"
    "  je 3f\n"
    "  fstp %st(0)\n"
    "3:\n"
    "  movl %esi, %eax\n"
    "  subl %esp, %eax\n"
    "  movl %esi, %esp\n"
    "  popl %esi\n"
    "  popl %ebp\n"
    "  ret\n");

static volatile int pairSink;
static __attribute__((noinline)) int __stdcall StdcallPair(int a, int b) {
  return pairSink = a + b;
}
static __attribute__((noinline)) int __cdecl CdeclPair(int a, int b) { return pairSink = a + b; }

#else
#define CLIENT_CHECKS_STACK 0
#define READ_STACK_POINTER(v) ((v) = 0)
#endif

static int StackMoved(const char* call, uintptr_t before, uintptr_t after) {
  char detail[96];
  if (before == after) return 0;
  snprintf(detail, sizeof detail, "stack pointer moved by %ld bytes",
           (long)((intptr_t)after - (intptr_t)before));
  Fault(call, detail);
  return 1;
}

/* CALL(fn, args...) calls api.fn and yields its result; CALL_VOID for calls
 * without one. Arguments must be plain expressions (no calls of their own). */
#define CALL(fn, ...)                                         \
  __extension__({                                             \
    volatile uintptr_t sp0_, sp1_;                            \
    uintptr_t spr_;                                           \
    READ_STACK_POINTER(spr_);                                 \
    sp0_ = spr_;                                              \
    __typeof__(api.fn(__VA_ARGS__)) r_ = api.fn(__VA_ARGS__); \
    READ_STACK_POINTER(spr_);                                 \
    sp1_ = spr_;                                              \
    StackMoved(#fn, sp0_, sp1_);                              \
    r_;                                                       \
  })
#define CALL_VOID(fn, ...)         \
  do {                             \
    volatile uintptr_t sp0_, sp1_; \
    uintptr_t spr_;                \
    READ_STACK_POINTER(spr_);      \
    sp0_ = spr_;                   \
    api.fn(__VA_ARGS__);           \
    READ_STACK_POINTER(spr_);      \
    sp1_ = spr_;                   \
    StackMoved(#fn, sp0_, sp1_);   \
  } while (0)

#if CLIENT_CHECKS_STACK
/* The checks themselves must catch a mismatch: a cdecl function called as
 * stdcall leaves its arguments behind, and the probe sees both kinds. The
 * client is built with frame pointers, which restore the stack when this
 * function returns. */
static __attribute__((noinline)) int MismatchNoticed(void) {
  int(__stdcall* volatile wrong)(int, int) = (int(__stdcall*)(int, int))(void (*)(void))CdeclPair;
  volatile uintptr_t sp0, sp1;
  uintptr_t sp;
  READ_STACK_POINTER(sp);
  sp0 = sp;
  wrong(1, 2);
  READ_STACK_POINTER(sp);
  sp1 = sp;
  return sp0 != sp1;
}

static void CheckStackChecks(void) {
  if (ProbeArgumentBytes((void*)StdcallPair, 8, 0) != 0)
    Fault("probe", "misjudges a stdcall callee");
  if (ProbeArgumentBytes((void*)CdeclPair, 8, 0) != 8) Fault("probe", "misses a cdecl callee");
  if (!MismatchNoticed()) Fault("stack check", "misses a cdecl callee called as stdcall");
}
#endif

/* ---- Loading ----------------------------------------------------------- */

static void* Resolve(HMODULE module, const char* name) {
  FARPROC call = GetProcAddress(module, name);
  void* pointer;
  if (call == NULL) {
    Fault("GetProcAddress", name);
    return NULL;
  }
  memcpy(&pointer, &call, sizeof pointer);
  return pointer;
}

static int ResolveAll(HMODULE module) {
  void* calls[24];
  int i;
  for (i = 0; i < 24; ++i) {
    calls[i] = Resolve(module, kExports[i].name);
    if (calls[i] == NULL) return 0;
  }
#define TAKE(field, index) memcpy(&api.field, &calls[index], sizeof api.field)
  TAKE(VobrexInit, 0);
  TAKE(VobrexExit, 1);
  TAKE(SetModes, 2);
  TAKE(GetModes, 3);
  TAKE(SetResolution, 4);
  TAKE(SetMotionResolution, 5);
  TAKE(GetImageSize, 6);
  TAKE(SetOption, 7);
  TAKE(SetOrientation, 8);
  TAKE(SetWbFactors, 9);
  TAKE(SetFocusFactors, 10);
  TAKE(SetCBFactors, 11);
  TAKE(SetFocusCoord, 12);
  TAKE(FocusIndication, 13);
  TAKE(WbSemiFactors, 14);
  TAKE(WbSemiFactorsRestore, 15);
  TAKE(SetRGBratio, 16);
  TAKE(GetRGBratio, 17);
  TAKE(AdjustColorGain, 18);
  TAKE(GetSharpness, 19);
  TAKE(ReadPreviewImage, 20);
  TAKE(ReadCamImage, 21);
  TAKE(VX_CCDtoRGB, 22);
  TAKE(GetVFWImage, 23);
#undef TAKE
#if CLIENT_CHECKS_STACK
  /* Before VobrexInit every call returns at once, so zeros are safe
   * arguments; what matters is that each pops exactly its bytes. */
  for (i = 0; i < 24; ++i) {
    int left = ProbeArgumentBytes(calls[i], kExports[i].argumentBytes, kExports[i].returnsDouble);
    if (left != 0) {
      char detail[64];
      snprintf(detail, sizeof detail, "left %d argument bytes on the stack", left);
      Fault(kExports[i].name, detail);
    }
  }
#endif
  return 1;
}

/* ---- Raw frames -------------------------------------------------------- */

enum { kMaxRawBytes = 1048576, kSlack = 1024 };

static uint32_t NextRandom(uint32_t* state) {
  uint32_t x = *state;
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  *state = x;
  return x;
}

/* A scene-like frame: shading that differs by colour site and field, blocks
 * of two brightness levels (edges for the sharpening and focus stages) and
 * noise. `harsh` frames use the whole range of sample values instead. */
static void FillFrame(uint8_t* raw, uint32_t seed, int harsh) {
  uint32_t state = seed * 2654435761u + 0x9E3779B9u;
  size_t i;
  if (state == 0) state = 1;
  for (i = 0; i < kMaxRawBytes; ++i) {
    const int block = (int)(i >> 18);
    const int line = (int)((i >> 9) & 511);
    const int column = (int)(i & 511);
    const int site = ((line >> 8) << 1) | (column & 1);
    int value;
    if (harsh) {
      value = (int)(NextRandom(&state) & 255);
    } else {
      value = 30 + site * 25 + ((column + 2 * line + 17 * block + (int)(seed % 97)) % 160) / 2;
      if (((column / 64) + (line / 32)) & 1) value += 45;
      value += (int)(NextRandom(&state) % 33) - 16;
    }
    raw[i] = (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value);
  }
}

static uint64_t Fnv1a(const uint8_t* bytes, size_t count) {
  uint64_t hash = 14695981039346656037ull;
  size_t i;
  for (i = 0; i < count; ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
  return hash;
}

/* ---- Results ----------------------------------------------------------- */

static FILE* OpenRecord(int number, const char* name) {
  char path[128];
  FILE* file;
  snprintf(path, sizeof path, "%03d_%s.bin", number, name);
  file = fopen(path, "wb");
  if (file == NULL) Fault("fopen", path);
  return file;
}

static void Put(FILE* file, const void* bytes, size_t count) {
  if (file != NULL && count > 0 && fwrite(bytes, 1, count, file) != count)
    Fault("fwrite", "short write");
}

static void PutInt(FILE* file, int32_t value) { Put(file, &value, sizeof value); }

/* The state the setters and getters report after a conversion. */
static void PutState(FILE* file) {
  CameraModes modes;
  int width = 0, height = 0, bytes = 0, r = 0, g = 0, b = 0;
  double focus;
  unsigned char sharpness;
  int* semi;
  memset(&modes, 0, sizeof modes);
  CALL_VOID(GetModes, &modes);
  Put(file, &modes, sizeof modes);
  CALL(GetImageSize, &width, &height, &bytes);
  PutInt(file, width);
  PutInt(file, height);
  PutInt(file, bytes);
  CALL(GetRGBratio, &r, &g, &b);
  PutInt(file, r);
  PutInt(file, g);
  PutInt(file, b);
  focus = CALL(FocusIndication);
  Put(file, &focus, sizeof focus);
  sharpness = CALL(GetSharpness);
  Put(file, &sharpness, 1);
  semi = CALL(WbSemiFactors);
  if (semi != NULL) {
    Put(file, semi, 7 * sizeof *semi);
    free(semi);
  }
}

static CameraModes CurrentModes(void) {
  CameraModes modes;
  memset(&modes, 0, sizeof modes);
  CALL_VOID(GetModes, &modes);
  return modes;
}

/* ---- The conversion paths ---------------------------------------------- */

static uint8_t* frame; /* kMaxRawBytes */
static int caseNumber = 0;

static void Preview(const char* name, uint32_t seed, int harsh) {
  const CameraModes modes = CurrentModes();
  const size_t imageBlockBytes = 54 + modes.imageBytes + kSlack;
  HGLOBAL raw = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, kMaxRawBytes);
  HGLOBAL image = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, imageBlockBytes);
  FILE* file = OpenRecord(++caseNumber, name);
  uint8_t* bytes;
  int result;
  if (raw == NULL || image == NULL) {
    Fault("GlobalAlloc", name);
  } else {
    FillFrame(frame, seed, harsh);
    memcpy(GlobalLock(raw), frame, kMaxRawBytes);
    GlobalUnlock(raw);
    result = CALL(ReadPreviewImage, &image, &raw);
    if (result == 0) { /* a failed conversion leaves both blocks locked */
      GlobalUnlock(raw);
      GlobalUnlock(image);
    }
    PutInt(file, result);
    bytes = (uint8_t*)GlobalLock(image);
    Put(file, bytes, imageBlockBytes);
    GlobalUnlock(image);
    bytes = (uint8_t*)GlobalLock(raw);
    {
      const uint64_t hash = Fnv1a(bytes, kMaxRawBytes);
      Put(file, &hash, sizeof hash);
    }
    GlobalUnlock(raw);
  }
  PutState(file);
  if (file != NULL) fclose(file);
  if (raw != NULL) GlobalFree(raw);
  if (image != NULL) GlobalFree(image);
}

static void PreviewPlain(const char* name, uint32_t seed) {
  const CameraModes modes = CurrentModes();
  const size_t pixelBytes = modes.imageBytes + kSlack;
  uint8_t* pixels = (uint8_t*)calloc(pixelBytes, 1);
  FILE* file = OpenRecord(++caseNumber, name);
  int result;
  FillFrame(frame, seed, 0);
  result = CALL(VX_CCDtoRGB, frame, pixels);
  PutInt(file, result);
  Put(file, pixels, pixelBytes);
  {
    const uint64_t hash = Fnv1a(frame, kMaxRawBytes);
    Put(file, &hash, sizeof hash);
  }
  PutState(file);
  if (file != NULL) fclose(file);
  free(pixels);
}

static void Still(const char* name, uint32_t seed, int harsh) {
  const CameraModes modes = CurrentModes();
  const size_t imageBlockBytes = 54 + modes.imageBytes + (modes.outputFormat == 2 ? 1024 : 0);
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, kMaxRawBytes);
  HGLOBAL original = block;
  FILE* file = OpenRecord(++caseNumber, name);
  int result;
  if (block == NULL) {
    Fault("GlobalAlloc", name);
  } else {
    FillFrame(frame, seed, harsh);
    memcpy(GlobalLock(block), frame, kMaxRawBytes);
    GlobalUnlock(block);
    result = CALL(ReadCamImage, &block);
    PutInt(file, result);
    PutInt(file, block != original);
    if (result != 0 && block != original) {
      uint8_t* bytes = (uint8_t*)GlobalLock(block);
      Put(file, bytes, imageBlockBytes);
      GlobalUnlock(block);
    } else if (result == 0) {
      GlobalUnlock(block); /* a failed conversion leaves the raw block locked */
    }
    GlobalFree(block);
  }
  PutState(file);
  if (file != NULL) fclose(file);
}

static void Video(const char* name, uint32_t seed, int code) {
  const CameraModes modes = CurrentModes();
  const size_t pixelBytes = modes.imageBytes + kSlack;
  uint8_t* pixels = (uint8_t*)calloc(pixelBytes, 1);
  FILE* file = OpenRecord(++caseNumber, name);
  int result;
  FillFrame(frame, seed, 0);
  result = CALL(GetVFWImage, frame, pixels, code);
  PutInt(file, result);
  Put(file, pixels, pixelBytes);
  PutState(file);
  if (file != NULL) fclose(file);
  free(pixels);
}

/* ---- Sessions ------------------------------------------------------------
 * Each group of cases runs between its own VobrexInit and VobrexExit, so
 * that the state carried from frame to frame is the same on every run. */

static const int kMotionModes[] = {0, 1, 2, 51, 52, 53, 54, 55, 56, 57, 58};
enum { kMotionModeCount = sizeof kMotionModes / sizeof kMotionModes[0] };

static void Begin(void) {
  if (CALL(VobrexInit) != 1) Fault("VobrexInit", "did not bring the library up");
}

static void End(void) {
  if (CALL(VobrexExit) != 1) Fault("VobrexExit", "did not report the library up");
}

static void Option(int letter, int value) { CALL(SetOption, letter, value); }

static void PreviewSessions(void) {
  char name[64];
  int i;

  /* Colour with both headers, every motion read-out. */
  Begin();
  Option('l', 1);
  Option('k', 51);
  for (i = 0; i < kMotionModeCount; ++i) {
    CALL_VOID(SetMotionResolution, kMotionModes[i]);
    snprintf(name, sizeof name, "preview_colour_m%d", kMotionModes[i]);
    Preview(name, 100 + (uint32_t)i, 0);
  }
  End();

  /* Grey with the information header only, mirrored. */
  Begin();
  Option('l', 0);
  Option('k', 50);
  CALL(SetOrientation, 1);
  for (i = 0; i < kMotionModeCount; ++i) {
    CALL_VOID(SetMotionResolution, kMotionModes[i]);
    snprintf(name, sizeof name, "preview_grey_mirror_m%d", kMotionModes[i]);
    Preview(name, 200 + (uint32_t)i, i % 3 == 0);
  }
  End();

  /* Grey with spare bytes, no header, both flags, tone curve and light
   * sharpening; through the plain-pointer call. */
  Begin();
  Option('l', 2);
  Option('k', 52);
  CALL(SetOrientation, 4);
  CALL_VOID(SetCBFactors, 20, -10, 80, 3, 1, 5);
  CALL_VOID(SetFocusFactors, 1, 0);
  for (i = 0; i < kMotionModeCount; ++i) {
    CALL_VOID(SetMotionResolution, kMotionModes[i]);
    snprintf(name, sizeof name, "preview_plain_m%d", kMotionModes[i]);
    PreviewPlain(name, 300 + (uint32_t)i);
  }
  /* Colour through the plain-pointer call, flipped only. */
  Option('l', 1);
  CALL(SetOrientation, 1);
  for (i = 0; i < kMotionModeCount; i += 2) {
    CALL_VOID(SetMotionResolution, kMotionModes[i]);
    snprintf(name, sizeof name, "preview_plain_colour_m%d", kMotionModes[i]);
    PreviewPlain(name, 350 + (uint32_t)i);
  }
  End();

  /* White balance on the raw samples, then manual factors with the gain by
   * sensor position, then the focus measurement. */
  Begin();
  Option('l', 1);
  Option('h', 1);
  CALL_VOID(SetMotionResolution, 0);
  Preview("preview_rawwb_m0", 400, 0);
  CALL_VOID(SetMotionResolution, 51);
  Preview("preview_rawwb_m51", 401, 0);
  CALL_VOID(SetMotionResolution, 2);
  Preview("preview_rawwb_m2", 402, 1);
  Option('h', 0);
  Option('i', 1);
  CALL_VOID(SetWbFactors, 1.25, 1.0, 0.8);
  CALL_VOID(SetMotionResolution, 0);
  Preview("preview_factors_m0", 403, 0);
  CALL_VOID(SetMotionResolution, 1);
  Preview("preview_factors_m1", 404, 0);
  CALL_VOID(SetMotionResolution, 54);
  Preview("preview_factors_m54", 405, 0);
  Option('i', 0);
  CALL_VOID(SetWbFactors, 1.0, 1.0, 1.0);
  Option('r', 1);
  CALL_VOID(SetFocusCoord, 100, 80);
  CALL_VOID(SetMotionResolution, 0);
  Preview("preview_focus_m0_a", 406, 0);
  Preview("preview_focus_m0_b", 407, 0);
  CALL_VOID(SetFocusCoord, 700, 2);
  CALL_VOID(SetMotionResolution, 51);
  Preview("preview_focus_m51", 408, 0);
  CALL_VOID(SetMotionResolution, 1);
  Preview("preview_focus_m1", 409, 0);
  End();

  /* Automatic white balance on the image. The first frame after start-up
   * always re-estimates; with option 't' every frame does, so no case
   * depends on how fast the frames follow each other. */
  Begin();
  Option('l', 1);
  Option('h', 1);
  CALL_VOID(SetFocusFactors, 1, 0);
  CALL_VOID(SetMotionResolution, 1);
  Preview("preview_autowb_first", 500, 0);
  Option('t', 1);
  Preview("preview_autowb_each_a", 501, 0);
  Preview("preview_autowb_each_b", 502, 1);
  End();

  /* Semi-automatic white balance: measure a white target over three frames,
   * end the run, convert with the measured reference. */
  Begin();
  Option('l', 1);
  Option('h', 2);
  Option('t', 1);
  CALL_VOID(SetMotionResolution, 55);
  Preview("preview_semi_measure_a", 600, 0);
  Preview("preview_semi_measure_b", 601, 0);
  CALL_VOID(SetMotionResolution, 51);
  Preview("preview_semi_measure_c", 602, 0);
  Option('t', 0);
  CALL_VOID(SetMotionResolution, 0);
  Preview("preview_semi_apply", 603, 0);
  End();
}

/* Selects a still code; 11 and 21 have no setter and go in through the
 * whole settings record, after the resolution that shares their read-out. */
static void SelectStill(int code, int subMode) {
  if (code == 11 || code == 21) {
    CameraModes modes;
    CALL_VOID(SetResolution, code == 11 ? 13 : 23, subMode);
    modes = CurrentModes();
    modes.resolution = (uint8_t)code;
    CALL_VOID(SetModes, &modes);
  } else {
    CALL_VOID(SetResolution, code, subMode);
  }
}

static void StillSessions(void) {
  static const int kCodes[] = {10, 11, 13, 20, 21, 23, 40};
  char name[64];
  int i, sub;

  /* Defaults: colour behind both headers, every code at full size, and the
   * smaller sizes of 13, 23 and 40. */
  Begin();
  for (i = 0; i < (int)(sizeof kCodes / sizeof kCodes[0]); ++i) {
    SelectStill(kCodes[i], 0);
    snprintf(name, sizeof name, "still_c%d_s0", kCodes[i]);
    Still(name, 700 + (uint32_t)i, 0);
  }
  for (sub = 1; sub <= 2; ++sub) {
    SelectStill(13, sub);
    snprintf(name, sizeof name, "still_c13_s%d", sub);
    Still(name, 710 + (uint32_t)sub, 0);
    SelectStill(23, sub);
    snprintf(name, sizeof name, "still_c23_s%d", sub);
    Still(name, 720 + (uint32_t)sub, 0);
    SelectStill(40, sub);
    snprintf(name, sizeof name, "still_c40_s%d", sub);
    Still(name, 730 + (uint32_t)sub, 0);
  }
  End();

  /* The still filters, pair smoothing, sharpening, defect repair, the tone
   * curve, mirrored. */
  Begin();
  Option('u', 1);
  Option('v', 1);
  CALL_VOID(SetFocusFactors, 1, 1);
  CALL_VOID(SetCBFactors, -15, 12, 140, 1, 4, 2);
  CALL(SetOrientation, 1);
  SelectStill(13, 0);
  Still("still_filters_c13_s0", 800, 0);
  SelectStill(13, 1);
  Still("still_filters_c13_s1", 801, 1);
  SelectStill(23, 0);
  Still("still_filters_c23_s0", 802, 0);
  SelectStill(40, 2);
  Still("still_filters_c40_s2", 803, 0);
  Option('u', 0);
  Option('p', 1);
  SelectStill(11, 0);
  Still("still_sharpshift_c11_s0", 804, 0);
  SelectStill(40, 1);
  Still("still_sharpshift_c40_s1", 805, 0);
  End();

  /* Automatic white balance, grey, information header only, flipped; then
   * a white-balance-only frame. */
  Begin();
  Option('h', 1);
  Option('l', 0);
  Option('k', 50);
  CALL(SetOrientation, 2);
  SelectStill(13, 0);
  Still("still_autowb_grey_c13", 900, 0);
  SelectStill(23, 1);
  Still("still_autowb_grey_c23", 901, 0);
  SelectStill(40, 2);
  Still("still_autowb_grey_c40", 902, 0);
  Option('l', 1);
  SelectStill(10, 0);
  Still("still_autowb_c10", 903, 1);
  Option('t', 1);
  SelectStill(13, 0);
  Still("still_wbonly_c13", 904, 0);
  End();

  /* Grey with spare bytes and no header, manual factors with the gain by
   * sensor position, sharpening off by option 'g'. */
  Begin();
  Option('l', 2);
  Option('k', 52);
  Option('i', 1);
  CALL_VOID(SetWbFactors, 0.9, 1.1, 1.3);
  SelectStill(13, 2);
  Still("still_spare_c13_s2", 1000, 0);
  SelectStill(21, 0);
  Still("still_spare_c21_s0", 1001, 0);
  CALL_VOID(SetFocusFactors, 1, 0);
  SelectStill(40, 1);
  Option('g', 0);
  Still("still_spare_c40_s1", 1002, 0);
  End();
}

static void VideoSessions(void) {
  static const int kCodes[] = {0, 10, 11, 13, 20, 21, 23, 40};
  char name[64];
  int i;

  Begin();
  for (i = 0; i < (int)(sizeof kCodes / sizeof kCodes[0]); ++i) {
    if (kCodes[i] == 0) {
      CALL_VOID(SetMotionResolution, 0);
    } else {
      SelectStill(kCodes[i], kCodes[i] == 40 ? 2 : 1);
    }
    snprintf(name, sizeof name, "video_c%d", kCodes[i]);
    Video(name, 1100 + (uint32_t)i, kCodes[i]);
  }
  End();

  /* Without the widening and white balance, sharpened, mirrored. */
  Begin();
  CALL_VOID(SetFocusFactors, 1, 0);
  CALL(SetOrientation, 4);
  Option('h', 1);
  SelectStill(13, 0);
  Video("video_wb_c13", 1200, 13);
  {
    CameraModes modes = CurrentModes();
    modes.vfwWideRange = 0;
    CALL_VOID(SetModes, &modes);
  }
  Video("video_narrow_c13", 1201, 13);
  SelectStill(23, 2);
  {
    CameraModes modes = CurrentModes();
    modes.vfwWideRange = 0;
    CALL_VOID(SetModes, &modes);
  }
  Video("video_narrow_c23", 1202, 23);
  End();
}

/* The setters without a conversion behind them. */
static void SetterSession(void) {
  FILE* file = OpenRecord(++caseNumber, "setters");
  CameraModes modes;
  int i;
  Begin();
  PutInt(file, CALL(SetRGBratio, 300, 200, 65535));
  PutInt(file, CALL(AdjustColorGain, 2, 80));
  modes = CurrentModes();
  modes.gainAdjust = 1;
  modes.sharpness = 77;
  CALL_VOID(SetModes, &modes);
  PutInt(file, CALL(AdjustColorGain, 2, 80));
  PutInt(file, CALL(AdjustColorGain, 9, 10));
  CALL_VOID(WbSemiFactorsRestore, 1, -2, 3, 40000, 5, -6, 7);
  for (i = 0; i < 10; ++i) PutInt(file, CALL(SetOrientation, i));
  PutInt(file, CALL(SetOption, 't', 255));
  PutInt(file, CALL(SetOption, 'k', 52));
  CALL_VOID(SetResolution, 99, 7);
  CALL_VOID(SetFocusCoord, -5, 123456);
  PutState(file);
  End();
  if (file != NULL) fclose(file);
}

int main(int argc, char** argv) {
  const char* library = argc > 1 ? argv[1] : CLIENT_DEFAULT_LIBRARY;
  HMODULE module;

#if CLIENT_CHECKS_STACK
  CheckStackChecks();
#endif
  module = LoadLibraryA(library);
  if (module == NULL) {
    Fault("LoadLibrary", library);
    return 1;
  }
  frame = (uint8_t*)malloc(kMaxRawBytes);
  if (frame == NULL || !ResolveAll(module)) return 1;

  SetterSession();
  PreviewSessions();
  StillSessions();
  VideoSessions();

  free(frame);
  FreeLibrary(module);
  printf("client: %d cases written, %d faults\n", caseNumber, faults);
  return faults == 0 ? 0 : 1;
}
