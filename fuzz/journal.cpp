// The journal of file-system events: what is read is written the same way, and read again.
#include "platform/fsevents/Journal.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace vitrel;
    const auto journal = readJournal({reinterpret_cast<const char*>(data), size});
    if (!journal)
        return 0;
    const auto again = readJournal(journalText(*journal));
    if (!again || again->last != journal->last || again->from != journal->from || again->events != journal->events
        || again->snapshot != journal->snapshot)
        std::abort();
    return 0;
}
