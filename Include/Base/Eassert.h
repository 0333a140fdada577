#pragma once

#include "Base/KestExport.h"

namespace Kest {

// Receives a failed assertion: the condition as written, the source file and
// the line. The handler reports; the caller then carries on.
using EassertHandler = void (*)(const char* expression, const char* file, int line);

// Reports a failed assertion through the current handler and returns.
KEST_API void Eassert(const char* expression, const char* file, int line);

// Replaces the handler (null restores the default, which writes one line to
// stderr) and returns the previous one, so that tests can capture reports.
KEST_API EassertHandler SetEassertHandler(EassertHandler handler);

} // namespace Kest

// Checks `expr`; when it is false, reports its text, `file` and this line.
#define E_ASSERT_IN(expr, file) ((expr) ? (void)0 : ::Kest::Eassert(#expr, file, __LINE__))
