// The settings record as a 32-bit C++ caller sees it: the header's static
// assertions hold in this translation unit too.
#include <cstddef>

#include "vobrex32.h"

static_assert(sizeof(void*) == 4, "a 32-bit build");
static_assert(alignof(CameraModes) == 8, "the doubles align the record to 8 bytes");

extern "C" {
std::size_t CppModesSize(void) { return sizeof(CameraModes); }
std::size_t CppFocusValueOffset(void) { return offsetof(CameraModes, focusValue); }
std::size_t CppSemiFactorsOffset(void) { return offsetof(CameraModes, semiFactors); }
}
