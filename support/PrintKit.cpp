#include "support/PrintKit.h"

#include <cstdio>

namespace vitrel {

std::string& printPrefix()
{
    static auto& prefix = *new std::string;
    return prefix;
}

void print::line(std::string line)
{
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

} // namespace vitrel
