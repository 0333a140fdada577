#include "Base/Eassert.h"

#include <cstdio>

namespace Kest {
namespace {

void DefaultHandler(const char* expression, const char* file, int line)
{
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n",
                 expression ? expression : "", file ? file : "", line);
}

EassertHandler g_handler = DefaultHandler;

} // namespace

void Eassert(const char* expression, const char* file, int line)
{
    g_handler(expression, file, line);
}

EassertHandler SetEassertHandler(EassertHandler handler)
{
    EassertHandler previous = g_handler;
    g_handler = handler ? handler : DefaultHandler;
    return previous;
}

} // namespace Kest
