/* What the test client needs from the platform: loading a library by name,
 * looking up its calls, and global-memory blocks. On Windows these are the
 * system calls; elsewhere a thin stand-in maps them onto dlopen/dlsym and the
 * library's own VobrexGlobal* blocks, so that one client source runs against
 * both builds and their results can be compared byte for byte. */
#ifndef VOBREX_CLIENT_PLATFORM_H
#define VOBREX_CLIENT_PLATFORM_H

#if defined(_WIN32)

#include <windows.h>

#define CLIENT_STDCALL __stdcall
#define CLIENT_DEFAULT_LIBRARY "vobrex32.dll"

#else

#include <dlfcn.h>
#include <stddef.h>
#include <string.h>

#include "vobrex32.h"

#define CLIENT_STDCALL
#define CLIENT_DEFAULT_LIBRARY "libvobrex32.so"

typedef void* HMODULE;
typedef void (*FARPROC)(void);

#define GMEM_MOVEABLE VOBREX_GMEM_MOVEABLE
#define GMEM_ZEROINIT VOBREX_GMEM_ZEROINIT

static inline HMODULE LoadLibraryA(const char* name) { return dlopen(name, RTLD_NOW | RTLD_LOCAL); }
static inline int FreeLibrary(HMODULE module) { return dlclose(module) == 0; }

/* The shared library exports the plain C names: the Windows decoration
 * ("_Name@bytes", or "?Name@@..." for a C++-style name) is dropped. */
static inline FARPROC GetProcAddress(HMODULE module, const char* exported) {
  char plain[128];
  const char* start = exported;
  size_t length;
  FARPROC call;
  void* symbol;
  if (*start == '_' || *start == '?') ++start;
  length = strcspn(start, "@");
  if (length >= sizeof plain) return NULL;
  memcpy(plain, start, length);
  plain[length] = '\0';
  symbol = dlsym(module, plain);
  memcpy(&call, &symbol, sizeof call);
  return call;
}

static inline HGLOBAL GlobalAlloc(unsigned flags, size_t bytes) {
  return VobrexGlobalAlloc(flags, bytes);
}
static inline void* GlobalLock(HGLOBAL block) { return VobrexGlobalLock(block); }
static inline int GlobalUnlock(HGLOBAL block) { return VobrexGlobalUnlock(block); }
static inline HGLOBAL GlobalFree(HGLOBAL block) { return VobrexGlobalFree(block); }

#endif

#endif /* VOBREX_CLIENT_PLATFORM_H */
