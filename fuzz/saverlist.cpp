// XScreenSaver's file: whatever is understood can be changed, and changed back.
#include "programs/saverlist/SaverList.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using vitrel::SaverList;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto list = SaverList::read(text);
    if (!list)
        return 0;
    const auto changed = [](std::string to, SaverList::State state) {
        auto read = SaverList::read(std::move(to));
        if (!read || read->state() != state)
            std::abort();
        return *std::move(read);
    };
    const std::string with = list->with("vitrel --root"), without = list->without();
    const auto in = changed(with, SaverList::State::Listed);
    const auto out = changed(without, SaverList::State::Absent);
    if (in.with("other") != with || out.without() != without)
        std::abort();
    switch (list->state()) {
    case SaverList::State::Absent: {
        // What ends it, and an empty list, are all that may be gained and lost.
        const std::string back = in.without();
        const bool listless = back.size() < text.size() && with.find("programs") != std::string::npos;
        if (back != text && back != text + "\n" && !listless)
            std::abort();
        break;
    }
    case SaverList::State::SwitchedOff:
        // The mark, with its backslash if it has one.
        if (with.size() + 1 != text.size() && with.size() + 2 != text.size())
            std::abort();
        break;
    case SaverList::State::Listed:
        if (with != text)
            std::abort();
        break;
    }
    return 0;
}
