// The entry point of vobrex32.dll. Loading and unloading the library need no
// work of their own: the camera context comes to life in VobrexInit and goes
// in VobrexExit, so the notifications only report success.
#if defined(_WIN32)

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }

#endif
