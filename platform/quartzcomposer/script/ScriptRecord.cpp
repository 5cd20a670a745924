#include "platform/quartzcomposer/script/ScriptRecord.h"

#include <sys/mman.h>

#include <atomic>

namespace vitrel {

namespace {

constexpr std::size_t kPlaces = 32;
constexpr std::uint64_t kAll = ~std::uint64_t(0);

struct Record {
    std::atomic<std::uint64_t> running[kPlaces];
    std::atomic<std::uint64_t> barred; // one script, or all
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

std::atomic<Record*> record{nullptr};
std::atomic<std::size_t> ownPlace{kPlaces};

} // namespace

bool ScriptRecord::keep()
{
    if (record.load())
        return true;
    void* const memory
        = mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0); // all zero
    if (memory == MAP_FAILED)
        return false;
    record = static_cast<Record*>(memory);
    return true;
}

void ScriptRecord::takeStock(std::size_t place)
{
    Record* const kept = record;
    const std::uint64_t last = kept && place < kPlaces ? kept->running[place].exchange(0) : 0;
    if (last == 0)
        return;
    std::uint64_t none = 0;
    if (!kept->barred.compare_exchange_strong(none, last) && none != last)
        kept->barred = kAll;
}

void ScriptRecord::settle(std::size_t place)
{
    ownPlace = place;
}

void ScriptRecord::running(std::uint64_t script)
{
    Record* const kept = record;
    if (const std::size_t place = ownPlace; kept && place < kPlaces)
        kept->running[place].store(script, std::memory_order_relaxed);
}

bool ScriptRecord::isBarred(std::uint64_t script)
{
    Record* const kept = record;
    const std::uint64_t barred = kept ? kept->barred.load() : 0;
    return barred == kAll || barred == script;
}

std::uint64_t ScriptRecord::nameOf(std::string_view source)
{
    std::uint64_t hash = 0xCBF29CE484222325; // FNV-1a
    for (const char c : source)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash == 0 || hash == kAll ? 1 : hash;
}

} // namespace vitrel
