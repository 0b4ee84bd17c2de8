// A capture application's view of vobrex32: load the library by name,
// resolve every call by its exported name, call each through a pointer of the
// standard calling convention, and convert generated raw frames through every
// path with several settings. Every result goes to a file of its own in the
// current directory; the same source built for Windows (run under Wine) and
// for Linux must write identical files.
//
// Usage: client [library]   (default: vobrex32.dll beside the program)
// Exit status: 0 when the library loaded, every name resolved and no call
// disturbed the stack; 1 otherwise. Conversion results are not judged here.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "client_platform.h"
#include "vobrex32.h"

// ---- The calls, as an application declares them ----------------------
// Each export: its field below, its exported name, its result and
// parameters, the bytes of arguments the callee pops, and whether the
// result comes back on the x87 stack.
#define CLIENT_EXPORTS(X)                                                                         \
  X(VobrexInit, "_VobrexInit@0", int, (void), 0, 0)                                               \
  X(VobrexExit, "_VobrexExit@0", int, (void), 0, 0)                                               \
  X(SetModes, "_SetModes@4", void, (const CameraModes*), 4, 0)                                    \
  X(GetModes, "_GetModes@4", void, (CameraModes*), 4, 0)                                          \
  X(SetResolution, "_SetResolution@8", void, (int, int), 8, 0)                                    \
  X(SetMotionResolution, "_SetMotionResolution@4", void, (int), 4, 0)                             \
  X(GetImageSize, "_GetImageSize@12", int, (int*, int*, int*), 12, 0)                             \
  X(SetOption, "_SetOption@8", int, (int, int), 8, 0)                                             \
  X(SetOrientation, "_SetOrientation@4", int, (int), 4, 0)                                        \
  X(SetWbFactors, "_SetWbFactors@24", void, (double, double, double), 24, 0)                      \
  X(SetFocusFactors, "_SetFocusFactors@8", void, (int, int), 8, 0)                                \
  X(SetCBFactors, "_SetCBFactors@24", void, (int, int, int, int, int, int), 24, 0)                \
  X(SetFocusCoord, "_SetFocusCoord@8", void, (int, int), 8, 0)                                    \
  X(FocusIndication, "_FocusIndication@0", double, (void), 0, 1)                                  \
  X(WbSemiFactors, "_WbSemiFactors@0", int*, (void), 0, 0)                                        \
  X(WbSemiFactorsRestore, "_WbSemiFactorsRestore@28", void, (int, int, int, int, int, int, int),  \
    28, 0)                                                                                        \
  X(SetRGBratio, "_SetRGBratio@12", int, (unsigned short, unsigned short, unsigned short), 12, 0) \
  X(GetRGBratio, "_GetRGBratio@12", int, (int*, int*, int*), 12, 0)                               \
  X(AdjustColorGain, "_AdjustColorGain@8", int, (int, int), 8, 0)                                 \
  X(GetSharpness, "?GetSharpness@@YGEXZ", unsigned char, (void), 0, 0)                            \
  X(ReadPreviewImage, "ReadPreviewImage", int, (HGLOBAL*, HGLOBAL*), 8, 0)                        \
  X(ReadCamImage, "ReadCamImage", int, (HGLOBAL*), 4, 0)                                          \
  X(VX_CCDtoRGB, "_VX_CCDtoRGB@8", int, (uint8_t*, uint8_t*), 8, 0)                               \
  X(GetVFWImage, "_GetVFWImage@12", int, (const uint8_t*, uint8_t*, int), 12, 0)

typedef struct Api {
#define CLIENT_FIELD(field, name, result, parameters, bytes, x87) \
  result(CLIENT_STDCALL* field) parameters;
  CLIENT_EXPORTS(CLIENT_FIELD)
#undef CLIENT_FIELD
} Api;

static Api api;

typedef struct Export {
  const char* name;
  size_t field;
  int argumentBytes;
  int returnsDouble;
} Export;

static const Export kExports[] = {
#define CLIENT_ENTRY(field, name, result, parameters, bytes, x87) \
  {name, offsetof(Api, field), bytes, x87},
    CLIENT_EXPORTS(CLIENT_ENTRY)
#undef CLIENT_ENTRY
};
enum { kExportCount = sizeof kExports / sizeof kExports[0] };
_Static_assert(kExportCount == 24, "every export of vobrex32 is called");

static int faults = 0;

static void Fault(const char* what, const char* detail) {
  fprintf(stderr, "client: %s: %s\n", what, detail);
  ++faults;
}

// ---- Stack discipline -------------------------------------------------
// On 32-bit x86 a callee that does not pop its arguments, or pops the wrong
// number of bytes, leaves the stack pointer moved after the call. Every call
// is bracketed by two readings of the stack pointer; the probe below also
// measures, for each export, how many argument bytes it pops.

#if defined(_WIN32) && defined(__i386__)
#define CLIENT_CHECKS_STACK 1
static inline __attribute__((always_inline)) uintptr_t StackPointer(void) {
  uintptr_t sp;
  __asm__ volatile("movl %%esp, %0" : "=r"(sp));
  return sp;
}

// int ProbeArgumentBytes(void* call, int argumentBytes, int returnsDouble):
// pushes argumentBytes of zeros, calls, and returns how many of those bytes
// the callee left on the stack (0 for a correct stdcall callee).
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

// The checks themselves must catch a mismatch: a cdecl function called as
// stdcall leaves its arguments behind, and the probe sees both kinds. The
// client is built with frame pointers, which restore the stack when this
// function returns.
static __attribute__((noinline)) int MismatchNoticed(void) {
  int(__stdcall* volatile wrong)(int, int) = (int(__stdcall*)(int, int))(void (*)(void))CdeclPair;
  volatile uintptr_t before = StackPointer();
  wrong(1, 2);
  return before != StackPointer();
}

static void CheckStackChecks(void) {
  if (ProbeArgumentBytes((void*)StdcallPair, 8, 0) != 0)
    Fault("probe", "misjudges a stdcall callee");
  if (ProbeArgumentBytes((void*)CdeclPair, 8, 0) != 8) Fault("probe", "misses a cdecl callee");
  if (!MismatchNoticed()) Fault("stack check", "misses a cdecl callee called as stdcall");
}
#else
#define CLIENT_CHECKS_STACK 0
static inline uintptr_t StackPointer(void) { return 0; }
#endif

static void StackMoved(const char* call, uintptr_t before, uintptr_t after) {
  char detail[96];
  if (before == after) return;
  snprintf(detail, sizeof detail, "stack pointer moved by %ld bytes",
           (long)((intptr_t)after - (intptr_t)before));
  Fault(call, detail);
}

// CALL(fn, args...) calls api.fn and yields its result; CALL_VOID for calls
// without one. Arguments must be plain expressions (no calls of their own).
#define CHECKED(name, call)                      \
  __extension__({                                \
    volatile uintptr_t before_ = StackPointer(); \
    __typeof__(call) result_ = call;             \
    StackMoved(name, before_, StackPointer());   \
    result_;                                     \
  })
#define CALL(fn, ...) CHECKED(#fn, api.fn(__VA_ARGS__))
#define CALL_VOID(fn, ...) ((void)CHECKED(#fn, (api.fn(__VA_ARGS__), 0)))

// ---- Loading -----------------------------------------------------------

static int ResolveAll(HMODULE module) {
  int i;
  for (i = 0; i < kExportCount; ++i) {
    FARPROC call = GetProcAddress(module, kExports[i].name);
    if (call == NULL) {
      Fault("GetProcAddress", kExports[i].name);
      return 0;
    }
    memcpy((char*)&api + kExports[i].field, &call, sizeof call);
  }
#if CLIENT_CHECKS_STACK
  // Before VobrexInit every call returns at once, so zeros are safe
  // arguments; what matters is that each pops exactly its bytes.
  for (i = 0; i < kExportCount; ++i) {
    void* call;
    int left;
    memcpy(&call, (char*)&api + kExports[i].field, sizeof call);
    left = ProbeArgumentBytes(call, kExports[i].argumentBytes, kExports[i].returnsDouble);
    if (left != 0) {
      char detail[64];
      snprintf(detail, sizeof detail, "left %d argument bytes on the stack", left);
      Fault(kExports[i].name, detail);
    }
  }
#endif
  return 1;
}

// ---- Raw frames --------------------------------------------------------

enum { kMaxRawBytes = 1048576, kSlack = 1024 };

static uint8_t* frame;  // kMaxRawBytes

// A scene-like frame: shading that differs by colour site and field, blocks
// of two brightness levels (edges for the sharpening and focus stages) and
// noise. `harsh` frames use the whole range of sample values instead.
static void FillFrame(uint32_t seed, int harsh) {
  uint32_t state = seed * 2654435761u + 0x9E3779B9u;
  size_t i;
  if (state == 0) state = 1;
  for (i = 0; i < kMaxRawBytes; ++i) {
    const int block = (int)(i >> 18), line = (int)((i >> 9) & 511), column = (int)(i & 511);
    const int site = ((line >> 8) << 1) | (column & 1);
    int value;
    state ^= state << 13;  // xorshift
    state ^= state >> 17;
    state ^= state << 5;
    if (harsh) {
      value = (int)(state & 255);
    } else {
      value = 30 + site * 25 + ((column + 2 * line + 17 * block + (int)(seed % 97)) % 160) / 2;
      if (((column / 64) + (line / 32)) & 1) value += 45;
      value += (int)(state % 33) - 16;
    }
    frame[i] = (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value);
  }
}

// ---- Results -----------------------------------------------------------

static int caseNumber = 0;

static FILE* OpenRecord(const char* name) {
  char path[128];
  FILE* file;
  snprintf(path, sizeof path, "%03d_%s.bin", ++caseNumber, name);
  file = fopen(path, "wb");
  if (file == NULL) Fault("fopen", path);
  return file;
}

static void Put(FILE* file, const void* bytes, size_t count) {
  if (file != NULL && count > 0 && fwrite(bytes, 1, count, file) != count)
    Fault("fwrite", "short write");
}

static void PutInt(FILE* file, int32_t value) { Put(file, &value, sizeof value); }

// The FNV-1a hash of `count` bytes: what a call left of a raw frame.
static void PutHash(FILE* file, const uint8_t* bytes, size_t count) {
  uint64_t hash = 14695981039346656037ull;
  size_t i;
  for (i = 0; i < count; ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
  Put(file, &hash, sizeof hash);
}

static void PutBlock(FILE* file, HGLOBAL block, size_t count, int hashed) {
  const uint8_t* bytes = (const uint8_t*)GlobalLock(block);
  if (hashed) {
    PutHash(file, bytes, count);
  } else {
    Put(file, bytes, count);
  }
  GlobalUnlock(block);
}

static CameraModes CurrentModes(void) {
  CameraModes modes;
  memset(&modes, 0, sizeof modes);
  CALL_VOID(GetModes, &modes);
  return modes;
}

// The state the setters and getters report after a conversion.
static void PutState(FILE* file) {
  const CameraModes modes = CurrentModes();
  int32_t sizes[6] = {0, 0, 0, 0, 0, 0};  // width, height, bytes; r, g, b
  double focus;
  unsigned char sharpness;
  int* semi;
  Put(file, &modes, sizeof modes);
  CALL(GetImageSize, &sizes[0], &sizes[1], &sizes[2]);
  CALL(GetRGBratio, &sizes[3], &sizes[4], &sizes[5]);
  Put(file, sizes, sizeof sizes);
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

// ---- The conversion paths ----------------------------------------------

enum Path { kPreview = 100, kPlain, kStill, kVideo };

// One frame through one path: ReadPreviewImage and ReadCamImage on global
// blocks, VX_CCDtoRGB and GetVFWImage on plain buffers with spare bytes.
static void Convert(const char* name, int path, uint32_t seed, int harsh, int code) {
  const CameraModes modes = CurrentModes();
  FILE* file = OpenRecord(name);
  FillFrame(seed, harsh);
  if (path == kPlain || path == kVideo) {
    const size_t count = modes.imageBytes + kSlack;
    uint8_t* pixels = (uint8_t*)calloc(count, 1);
    if (path == kPlain) {
      PutInt(file, CALL(VX_CCDtoRGB, frame, pixels));
    } else {
      PutInt(file, CALL(GetVFWImage, frame, pixels, code));
    }
    Put(file, pixels, count);
    PutHash(file, frame, kMaxRawBytes);
    free(pixels);
  } else {
    const size_t imageBytes = 54 + modes.imageBytes + kSlack;
    HGLOBAL raw = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, kMaxRawBytes), original = raw;
    HGLOBAL image =
        path == kPreview ? GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, imageBytes) : NULL;
    int result;
    if (raw == NULL || (path == kPreview && image == NULL)) {
      Fault("GlobalAlloc", name);
    } else {
      memcpy(GlobalLock(raw), frame, kMaxRawBytes);
      GlobalUnlock(raw);
      if (path == kPreview) {
        result = CALL(ReadPreviewImage, &image, &raw);
        if (result == 0) GlobalUnlock(image);  // a failed conversion leaves both blocks locked
      } else {
        result = CALL(ReadCamImage, &raw);
      }
      if (result == 0) GlobalUnlock(raw);
      PutInt(file, result);
      PutInt(file, raw != original);
      if (path == kPreview) {
        PutBlock(file, image, imageBytes, 0);
        PutBlock(file, raw, kMaxRawBytes, 1);
      } else if (result != 0 && raw != original) {
        // The new block: header, pixels, and 1024 spare bytes for output format 2.
        PutBlock(file, raw, 54 + modes.imageBytes + (modes.outputFormat == 2 ? 1024 : 0), 0);
      }
    }
    if (raw != NULL) GlobalFree(raw);
    if (image != NULL) GlobalFree(image);
  }
  PutState(file);
  if (file != NULL) fclose(file);
}

// Selects a still code; 11 and 21 have no setter and go in through the
// whole settings record, after the resolution that shares their read-out.
static void SelectStill(int code, int subMode) {
  CALL_VOID(SetResolution, code == 11 ? 13 : code == 21 ? 23 : code, subMode);
  if (code == 11 || code == 21) {
    CameraModes modes = CurrentModes();
    modes.resolution = (uint8_t)code;
    CALL_VOID(SetModes, &modes);
  }
}

static void Begin(void) {
  if (CALL(VobrexInit) != 1) Fault("VobrexInit", "did not bring the library up");
}

static void End(void) {
  if (CALL(VobrexExit) != 1) Fault("VobrexExit", "did not report the library up");
}

// ---- Sessions ------------------------------------------------------------
// Each session runs its steps between its own VobrexInit and VobrexExit, so
// that the state carried from frame to frame is the same on every run. A
// step is a setter with its arguments (white-balance factors in hundredths)
// or a conversion: {kPreview or kPlain, {motion mode, harsh}}, {kStill,
// {code, sub-mode, harsh}}, {kVideo, {code, sub-mode, narrow}} (narrow: no
// widening and white balance), or {kEveryMode, {path, stride, harsh every}}
// through the motion read-outs.

enum Setter { kDone, kOption, kOrientation, kCBFactors, kFocusFactors, kWbFactors, kFocusCoord };
enum { kEveryMode = kVideo + 1 };

typedef struct Step {
  int op;
  int v[6];
} Step;

typedef struct Session {
  const char* label;
  Step steps[24];
} Session;

// clang-format off
#define OPTION(letter, value) {kOption, {letter, value}}
#define ORIENTATION(code) {kOrientation, {code}}

static const Session kSessions[] = {
    {"preview_colour", {OPTION('l', 1), OPTION('k', 51), {kEveryMode, {kPreview, 1, 0}}}},
    {"preview_grey_mirror", {OPTION('l', 0), OPTION('k', 50), ORIENTATION(1),
                             {kEveryMode, {kPreview, 1, 3}}}},
    // Spare bytes, no header, both flags, tone curve, light sharpening.
    {"preview_plain", {OPTION('l', 2), OPTION('k', 52), ORIENTATION(4),
                       {kCBFactors, {20, -10, 80, 3, 1, 5}}, {kFocusFactors, {1, 0}},
                       {kEveryMode, {kPlain, 1, 0}}, OPTION('l', 1), ORIENTATION(1),
                       {kEveryMode, {kPlain, 2, 0}}}},
    // White balance on the raw samples; manual factors with the gain by
    // sensor position; the focus measurement.
    {"preview_balance", {OPTION('l', 1), OPTION('h', 1), {kPreview, {0}}, {kPreview, {51}},
                         {kPreview, {2, 1}}, OPTION('h', 0), OPTION('i', 1),
                         {kWbFactors, {125, 100, 80}}, {kPreview, {0}}, {kPreview, {1}},
                         {kPreview, {54}}, OPTION('i', 0), {kWbFactors, {100, 100, 100}},
                         OPTION('r', 1), {kFocusCoord, {100, 80}}, {kPreview, {0}},
                         {kPreview, {0}}, {kFocusCoord, {700, 2}}, {kPreview, {51}},
                         {kPreview, {1}}}},
    // Automatic white balance on the image: the first frame after start-up
    // always re-estimates; with option 't' every frame does, so no case
    // depends on how fast the frames follow each other.
    {"preview_autowb", {OPTION('l', 1), OPTION('h', 1), {kFocusFactors, {1, 0}}, {kPreview, {1}},
                        OPTION('t', 1), {kPreview, {1}}, {kPreview, {1, 1}}}},
    // Semi-automatic: measure a white target over three frames, then convert
    // with the measured reference.
    {"preview_semi", {OPTION('l', 1), OPTION('h', 2), OPTION('t', 1), {kPreview, {55}},
                      {kPreview, {55}}, {kPreview, {51}}, OPTION('t', 0), {kPreview, {0}}}},
    // Defaults: colour behind both headers, every code, every size.
    {"still", {{kStill, {10}}, {kStill, {11}}, {kStill, {13}}, {kStill, {20}}, {kStill, {21}},
               {kStill, {23}}, {kStill, {40}}, {kStill, {13, 1}}, {kStill, {23, 1}},
               {kStill, {40, 1}}, {kStill, {13, 2}}, {kStill, {23, 2}}, {kStill, {40, 2}}}},
    // The still filters, pair smoothing, sharpening, defect repair, the tone
    // curve, mirrored; then the sharpening with the shift option.
    {"still_filters", {OPTION('u', 1), OPTION('v', 1), {kFocusFactors, {1, 1}},
                       {kCBFactors, {-15, 12, 140, 1, 4, 2}}, ORIENTATION(1), {kStill, {13, 0}},
                       {kStill, {13, 1, 1}}, {kStill, {23, 0}}, {kStill, {40, 2}}, OPTION('u', 0),
                       OPTION('p', 1), {kStill, {11, 0}}, {kStill, {40, 1}}}},
    // Automatic white balance, grey, information header only, flipped; then
    // a white-balance-only frame.
    {"still_autowb", {OPTION('h', 1), OPTION('l', 0), OPTION('k', 50), ORIENTATION(2),
                      {kStill, {13, 0}}, {kStill, {23, 1}}, {kStill, {40, 2}}, OPTION('l', 1),
                      {kStill, {10, 0, 1}}, OPTION('t', 1), {kStill, {13, 0}}}},
    // Grey with spare bytes and no header, manual factors with the gain by
    // sensor position, sharpening off by option 'g'.
    {"still_spare", {OPTION('l', 2), OPTION('k', 52), OPTION('i', 1), {kWbFactors, {90, 110, 130}},
                     {kStill, {13, 2}}, {kStill, {21, 0}}, {kFocusFactors, {1, 0}}, OPTION('g', 0),
                     {kStill, {40, 1}}}},
    {"video", {{kVideo, {0}}, {kVideo, {10, 1}}, {kVideo, {11, 1}}, {kVideo, {13, 1}},
               {kVideo, {20, 1}}, {kVideo, {21, 1}}, {kVideo, {23, 1}}, {kVideo, {40, 2}}}},
    // Sharpened and mirrored; with and without the widening and white balance.
    {"video_narrow", {{kFocusFactors, {1, 0}}, ORIENTATION(4), OPTION('h', 1),
                      {kVideo, {13, 0}}, {kVideo, {13, 0, 1}}, {kVideo, {23, 2, 1}}}},
};
// clang-format on

static const int kMotionModes[] = {0, 1, 2, 51, 52, 53, 54, 55, 56, 57, 58};
enum { kMotionModeCount = sizeof kMotionModes / sizeof kMotionModes[0] };

static void ConvertStep(const char* label, int path, const int* v) {
  char name[64];
  if (path == kPreview || path == kPlain) {
    CALL_VOID(SetMotionResolution, v[0]);
    snprintf(name, sizeof name, "%s_m%d", label, v[0]);
    Convert(name, path, 100 + (uint32_t)caseNumber, path == kPreview && v[1], 0);
    return;
  }
  if (v[0] == 0) {
    CALL_VOID(SetMotionResolution, 0);
  } else {
    SelectStill(v[0], v[1]);
  }
  if (path == kVideo && v[2]) {
    CameraModes modes = CurrentModes();
    modes.vfwWideRange = 0;
    CALL_VOID(SetModes, &modes);
  }
  snprintf(name, sizeof name, "%s_c%d_s%d", label, v[0], v[1]);
  Convert(name, path, 100 + (uint32_t)caseNumber, path == kStill && v[2], v[0]);
}

static void RunSession(const Session* session) {
  const Step* step;
  int i;
  Begin();
  for (step = session->steps; step->op != kDone; ++step) {
    const int* v = step->v;
    switch (step->op) {
      case kOption: CALL(SetOption, v[0], v[1]); break;
      case kOrientation: CALL(SetOrientation, v[0]); break;
      case kCBFactors: CALL_VOID(SetCBFactors, v[0], v[1], v[2], v[3], v[4], v[5]); break;
      case kFocusFactors: CALL_VOID(SetFocusFactors, v[0], v[1]); break;
      case kWbFactors: CALL_VOID(SetWbFactors, v[0] / 100.0, v[1] / 100.0, v[2] / 100.0); break;
      case kFocusCoord: CALL_VOID(SetFocusCoord, v[0], v[1]); break;
      case kEveryMode:
        for (i = 0; i < kMotionModeCount; i += v[1]) {
          const int mode[2] = {kMotionModes[i], v[2] != 0 && i % v[2] == 0};
          ConvertStep(session->label, v[0], mode);
        }
        break;
      default: ConvertStep(session->label, step->op, v);
    }
  }
  End();
}

// The setters without a conversion behind them, with arguments out of range.
static void SetterSession(void) {
  FILE* file = OpenRecord("setters");
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
  size_t i;

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
  for (i = 0; i < sizeof kSessions / sizeof kSessions[0]; ++i) RunSession(&kSessions[i]);

  free(frame);
  FreeLibrary(module);
  printf("client: %d cases written, %d faults\n", caseNumber, faults);
  return faults == 0 ? 0 : 1;
}
