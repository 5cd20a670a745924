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

// The list of fonts is read once and lives as long as the process.
extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
