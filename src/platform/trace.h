// Diagnostic messages of the conversions go to a trace sink that discards
// them: nothing is ever logged, but the messages stay in the code where a
// debugger or a test can see them pass.
#pragma once

namespace vobrex {

inline void Trace(const char* message) { static_cast<void>(message); }

}  // namespace vobrex
