#include "platform/quartzcomposer/script/ScriptMemory.h"

#include <elf.h>
#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>

namespace vitrel {

namespace {

// With the 64 MiB of objects and what the program has besides, this keeps a hostile composition below 256 MiB.
constexpr std::int64_t kMostBytes = 96 << 20;
// A small request never fails: there are places where the engine can't go on without, and ends the process.
constexpr std::size_t kLargeRequest = 256 << 10;
// A text of 16 million letters, an array of two million members: what natives take long for grows with these.
constexpr std::size_t kLargestRequest = (16 << 20) + (64 << 10);
// One call into the library may ask for many small ones before it looks at anything.
constexpr std::int64_t kLastBytes = 192 << 20;

std::atomic<std::int64_t> held{0};
std::atomic<std::int64_t> alarmAt{INT64_MAX};
std::atomic<void (*)()> tellAlarm{nullptr}, tellEnd{nullptr};
void* (*realMalloc)(std::size_t) = nullptr;
void* (*realCalloc)(std::size_t, std::size_t) = nullptr;
void* (*realRealloc)(void*, std::size_t) = nullptr;
void (*realFree)(void*) = nullptr;

bool isTooMuch(std::size_t size)
{
    return size >= kLargeRequest
        && (size > kLargestRequest || held.load(std::memory_order_relaxed) + std::int64_t(size) > kMostBytes);
}

void count(std::int64_t bytes)
{
    const std::int64_t now = held.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    if (bytes <= 0 || now <= alarmAt.load(std::memory_order_relaxed))
        return;
    if (auto* const tell = (now > kLastBytes ? tellEnd : tellAlarm).load())
        tell();
}

void* counted(void* block)
{
    count(std::int64_t(malloc_usable_size(block)));
    return block;
}

void* boundedMalloc(std::size_t size)
{
    return isTooMuch(size) ? nullptr : counted(realMalloc(size));
}

void* boundedCalloc(std::size_t count, std::size_t size)
{
    std::size_t bytes;
    if (__builtin_mul_overflow(count, size, &bytes) || isTooMuch(bytes))
        return nullptr;
    return counted(realCalloc(count, size));
}

void* boundedRealloc(void* block, std::size_t size)
{
    const auto before = std::int64_t(malloc_usable_size(block));
    if (std::int64_t(size) > before && isTooMuch(size))
        return nullptr;
    void* after = realRealloc(block, size);
    if (after || size == 0)
        count((after ? std::int64_t(malloc_usable_size(after)) : 0) - before);
    return after;
}

void boundedFree(void* block)
{
    held.fetch_sub(std::int64_t(malloc_usable_size(block)), std::memory_order_relaxed);
    realFree(block);
}

// One import of the library: the name, what stands in its place, and where the original is kept.
struct Import {
    const char* name;
    void* replacement;
    void** original;
    void** slot = nullptr;
};

// Finds the slots by which the library calls the allocator. Zero goes on to the next library.
int findSlots(dl_phdr_info* info, std::size_t, void* context)
{
    if (!info->dlpi_name || !std::strstr(info->dlpi_name, "libmozjs-"))
        return 0;
    auto& imports = *static_cast<std::array<Import, 4>*>(context);
    const ElfW(Dyn)* dynamic = nullptr;
    for (int k = 0; k < info->dlpi_phnum; ++k)
        if (info->dlpi_phdr[k].p_type == PT_DYNAMIC)
            dynamic = reinterpret_cast<const ElfW(Dyn)*>(info->dlpi_addr + info->dlpi_phdr[k].p_vaddr);
    const ElfW(Sym)* symbols = nullptr;
    const char* names = nullptr;
    struct {
        const ElfW(Rela) * first = nullptr;
        std::size_t bytes = 0;
    } tables[2];
    for (; dynamic && dynamic->d_tag != DT_NULL; ++dynamic) {
        switch (dynamic->d_tag) {
        case DT_SYMTAB:
            symbols = reinterpret_cast<const ElfW(Sym)*>(dynamic->d_un.d_ptr);
            break;
        case DT_STRTAB:
            names = reinterpret_cast<const char*>(dynamic->d_un.d_ptr);
            break;
        case DT_RELA:
            tables[0].first = reinterpret_cast<const ElfW(Rela)*>(dynamic->d_un.d_ptr);
            break;
        case DT_RELASZ:
            tables[0].bytes = dynamic->d_un.d_val;
            break;
        case DT_JMPREL:
            tables[1].first = reinterpret_cast<const ElfW(Rela)*>(dynamic->d_un.d_ptr);
            break;
        case DT_PLTRELSZ:
            tables[1].bytes = dynamic->d_un.d_val;
            break;
        }
    }
    if (!symbols || !names)
        return 1;
    for (const auto& table : tables)
        for (std::size_t k = 0; table.first && k < table.bytes / sizeof(ElfW(Rela)); ++k) {
            const ElfW(Rela)& entry = table.first[k];
            const auto symbol = ELF64_R_SYM(entry.r_info);
            if (symbol == 0)
                continue;
            for (auto& import : imports)
                if (std::strcmp(names + symbols[symbol].st_name, import.name) == 0)
                    import.slot = reinterpret_cast<void**>(info->dlpi_addr + entry.r_offset);
        }
    return 1;
}

} // namespace

bool boundScriptMemory()
{
#ifdef __LP64__
    std::array<Import, 4> imports{{
        {"malloc", reinterpret_cast<void*>(&boundedMalloc), reinterpret_cast<void**>(&realMalloc)},
        {"calloc", reinterpret_cast<void*>(&boundedCalloc), reinterpret_cast<void**>(&realCalloc)},
        {"realloc", reinterpret_cast<void*>(&boundedRealloc), reinterpret_cast<void**>(&realRealloc)},
        {"free", reinterpret_cast<void*>(&boundedFree), reinterpret_cast<void**>(&realFree)},
    }};
    dl_iterate_phdr(&findSlots, &imports);
    for (const auto& import : imports)
        if (!import.slot)
            return false;
    const auto page = std::uintptr_t(sysconf(_SC_PAGESIZE));
    for (const auto& import : imports) {
        *import.original = *import.slot;
        void* start = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(import.slot) / page * page);
        // The slots were made read-only once the library was linked.
        if (mprotect(start, page, PROT_READ | PROT_WRITE) != 0)
            return false;
        __atomic_store_n(import.slot, import.replacement, __ATOMIC_RELEASE);
        mprotect(start, page, PROT_READ);
    }
    return true;
#else
    return false;
#endif
}

void watchScriptMemory(std::int64_t bytes, void (*onAlarm)(), void (*onEnd)())
{
    tellAlarm = onAlarm;
    tellEnd = onEnd;
    alarmAt = bytes;
}

std::int64_t scriptMemoryBytes()
{
    return held;
}

} // namespace vitrel
