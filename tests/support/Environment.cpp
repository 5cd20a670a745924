#include <cstdlib>

namespace {

// The same hour, language and samples on every machine, whoever starts the test program.
const int prepared = [] {
    setenv("TZ", "UTC", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("VITREL_SHARED_SAMPLES", VITREL_SAMPLES, 0);
    return 0;
}();

} // namespace
