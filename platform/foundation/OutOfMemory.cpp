#include "platform/foundation/OutOfMemory.h"

#include <cstring>
#include <initializer_list>
#include <new>

#include <unistd.h>

namespace vitrel {

namespace {
const char* programName = "";
} // namespace

void endWhereMemoryEnds(const char* name)
{
    programName = name;
    std::set_new_handler([] {
        // Nothing here may allocate.
        for (const char* text : {programName, ": there is not enough memory\n"})
            [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text, std::strlen(text));
        ::_exit(1);
    });
}

} // namespace vitrel
