#include "support/PrintKit.h"

#include <atomic>
#include <cstdio>

namespace vitrel {

std::string& printPrefix()
{
    static auto& prefix = *new std::string;
    return prefix;
}

namespace print {

namespace {
std::atomic<Destination> whereTo{Destination::StandardOutput};
} // namespace

void setDestination(Destination destination)
{
    whereTo = destination;
}

void line(std::string line)
{
    if (whereTo == Destination::Nowhere)
        return;
    std::FILE* const stream = whereTo == Destination::StandardOutput ? stdout : stderr;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
}

} // namespace print

} // namespace vitrel
