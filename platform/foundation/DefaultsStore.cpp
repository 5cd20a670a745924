#include "platform/foundation/DefaultsStore.h"

#include "base/Text.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/PropertyList.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace vitrel {
namespace {

// A store of settings is some kilobytes; what is larger was not written by us.
constexpr std::size_t kMaximumFile = std::size_t(64) << 20;
// A process that was stopped while it held the lock must not stop the others for ever.
constexpr std::chrono::seconds kLockPatience{10};
// Two writes within one tick of the file system's clock carry one time, and inodes are used again: until a file is
// older than this, its stamp proves nothing. Ticks are 4 to 10 ms; some network file systems count in seconds.
constexpr std::int64_t kSettleTime = 2'000'000'000;

// XML can't hold every name that a file may have. Text that it can't hold, and text that looks escaped, is stored
// behind this sign with its odd bytes as %XX.
constexpr std::string_view kEscaped = "\xE2\x90\x9B";

bool fitsXml(std::string_view text)
{
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if ((c < 0x20 && c != '\n' && c != '\t' && c != '\r') || text.substr(at, 3) == "\xEF\xBF\xBE"
            || text.substr(at, 3) == "\xEF\xBF\xBF")
            return false;
    }
    return repairedUtf8(text) == text && !text.starts_with(kEscaped);
}

std::string escaped(std::string_view text)
{
    if (fitsXml(text))
        return std::string(text);
    std::string out(kEscaped);
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", byte);
        if (byte < 0x20 || byte >= 0x7F || c == '%')
            out += code;
        else
            out += c;
    }
    return out;
}

std::string unescaped(std::string_view text)
{
    return text.starts_with(kEscaped) ? percentDecoded(text.substr(kEscaped.size())) : std::string(text);
}

template <class Change> Value withTexts(const Value& value, Change change)
{
    if (const auto* text = value.as<std::string>())
        return change(*text);
    if (const auto* array = value.array()) {
        Array out;
        for (const Value& member : *array)
            out.push_back(withTexts(member, change));
        return Value(std::move(out));
    }
    if (const auto* dictionary = value.dictionary()) {
        Dictionary out;
        for (const auto& [key, member] : *dictionary)
            out.insert_or_assign(change(key), withTexts(member, change));
        return Value(std::move(out));
    }
    return value;
}

bool isEmpty(const Value& value)
{
    const auto* text = value.as<std::string>();
    const auto* array = value.array();
    return value.isNothing() || (text && text->empty()) || (array && array->empty());
}

} // namespace

DefaultsStore::DefaultsStore(std::string folder, FileSystem& files, LogSink log)
    : folder_(std::move(folder))
    , files_(files)
    , log_(std::move(log))
{ }

std::string DefaultsStore::pathForDomain(const std::string& domain) const
{
    std::string name = domain.empty() ? "_" : domain;
    for (char& c : name) {
        const bool plain
            = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-';
        if (!plain)
            c = '_';
    }
    if (name.front() == '.')
        name.front() = '_';
    return folder_ + "/" + name + ".plist";
}

std::optional<Value> DefaultsStore::valueForKey(const std::string& domain, const std::string& key)
{
    const std::lock_guard lock(mutex_);
    if (const auto argument = arguments_.find(key); argument != arguments_.end())
        return argument->second;
    const Domain& state = refreshed(domain);
    const Value* value = member(state.unwritten, key);
    if (!value)
        value = member(state.stored, key);
    if (!value || isEmpty(*value)) {
        if (const Value* fallback = member(fallbacks_, key))
            return *fallback;
    }
    return value && !value->isNothing() ? std::optional(*value) : std::nullopt;
}

Dictionary DefaultsStore::dictionaryForDomain(const std::string& domain)
{
    const std::lock_guard lock(mutex_);
    const Domain& state = refreshed(domain);
    Dictionary all = state.stored;
    for (const auto& [key, value] : state.unwritten) {
        if (value.isNothing())
            all.erase(key);
        else
            all[key] = value;
    }
    return all;
}

void DefaultsStore::setValueForKey(const std::string& domain, const std::string& key, const Value& value)
{
    if (!value.isNothing() && !propertyListWithData(binaryPropertyList(Value(Array{value})))) {
        NSLog(log_, "A value that can't be stored was refused for the key \"%@\"", {key});
        return;
    }
    const std::lock_guard lock(mutex_);
    Domain& state = domains_[domain];
    state.unwritten[key] = value;
    store(domain, state);
}

bool DefaultsStore::synchronize(const std::string& domain)
{
    const std::lock_guard lock(mutex_);
    Domain& state = domains_[domain];
    if (!state.unwritten.empty())
        store(domain, state);
    return state.unwritten.empty() || state.batches > 0 || folder_.empty() || keepsInMemory_;
}

void DefaultsStore::setFallback(const std::string& key, const Value& value)
{
    const std::lock_guard lock(mutex_);
    fallbacks_[key] = value;
}

void DefaultsStore::keepInMemory()
{
    const std::lock_guard lock(mutex_);
    keepsInMemory_ = true;
}

void DefaultsStore::setArgument(const std::string& key, const Value& value)
{
    const std::lock_guard lock(mutex_);
    if (value.isNothing())
        arguments_.erase(key);
    else
        arguments_[key] = value;
}

DefaultsStore::Stamp DefaultsStore::stampOf(const struct ::stat& status)
{
    return {status.st_dev, status.st_ino, status.st_size,
        std::int64_t(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec};
}

bool DefaultsStore::isSettled(const Stamp& stamp)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t age = std::int64_t(now.tv_sec) * 1'000'000'000 + now.tv_nsec - stamp.modified;
    return age > kSettleTime;
}

DefaultsStore::Domain& DefaultsStore::refreshed(const std::string& name)
{
    Domain& domain = domains_[name];
    if (folder_.empty())
        return domain;
    struct ::stat status {
    };
    const bool there = files_.stat(pathForDomain(name).c_str(), &status) == 0;
    const std::optional<Stamp> stamp = there ? std::optional(stampOf(status)) : std::nullopt;
    if (domain.known && stamp == domain.stamp && (domain.settled || !stamp))
        return domain;
    const auto reading = read(name, domain);
    const bool damaged = reading && *reading == Reading::Damaged;
    if ((!reading || damaged) && !std::exchange(domain.reportedDamage, true))
        NSLog(log_,
            damaged ? "The settings in %@ can't be read and will be set aside" : "The settings in %@ can't be read: %@",
            {pathForDomain(name), damaged ? "" : std::strerror(reading.error())});
    return domain;
}

Result<DefaultsStore::Reading, int> DefaultsStore::read(const std::string& name, Domain& domain)
{
    domain.known = true;
    const FileDescriptor file(files_, files_.open(pathForDomain(name).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
    if (file.get() < 0) {
        const int error = errno;
        domain.stored.clear();
        domain.parsed.reset();
        domain.stamp.reset();
        domain.known = error == ENOENT;
        if (error != ENOENT)
            return error;
        return Reading::Fine;
    }
    struct ::stat status {
    };
    if (files_.fstat(file.get(), &status) != 0)
        return errno;
    domain.stamp = stampOf(status);
    domain.settled = isSettled(*domain.stamp);
    const auto bytes = readAll(files_, file.get(), kMaximumFile);
    if (!bytes) {
        domain.known = false;
        if (bytes.error() != EFBIG)
            return bytes.error();
        return Reading::Damaged;
    }
    // A file that is looked at often before its stamp says enough is read, but not understood anew each time.
    if (domain.parsed == *bytes)
        return Reading::Fine;
    const auto value = propertyListWithData(*bytes);
    domain.stored.clear();
    domain.parsed.reset();
    if (!value || !value->dictionary())
        return Reading::Damaged;
    domain.stored = *withTexts(*value, unescaped).dictionary();
    domain.parsed = *bytes;
    return Reading::Fine;
}

void DefaultsStore::store(const std::string& name, Domain& domain)
{
    if (folder_.empty() || keepsInMemory_ || domain.batches > 0)
        return;
    const int error = write(name, domain);
    if (!error) {
        domain.reportedFailure = false;
    } else if (!std::exchange(domain.reportedFailure, true)) {
        NSLog(log_, "The settings in %@ can't be written: %@; they last until this process ends",
            {pathForDomain(name), std::strerror(error)});
    }
}

int DefaultsStore::lock(int fd)
{
    const auto end = std::chrono::steady_clock::now() + kLockPatience;
    std::chrono::microseconds pause{100};
    while (files_.flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return errno;
        if (std::chrono::steady_clock::now() > end)
            return ETIMEDOUT;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(2000));
    }
    return 0;
}

Result<std::unique_ptr<FileDescriptor>, int> DefaultsStore::locked(const std::string& name)
{
    std::error_code made;
    std::filesystem::create_directories(folder_, made);
    auto guard = std::make_unique<FileDescriptor>(
        files_, files_.open((pathForDomain(name) + ".lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (const int error = guard->get() < 0 ? errno : lock(guard->get()))
        return error;
    return guard;
}

int DefaultsStore::write(const std::string& name, Domain& domain)
{
    if (domain.lock)
        return writeLocked(name, domain);
    const auto guard = locked(name); // closing the descriptor ends the lock
    return guard ? writeLocked(name, domain) : guard.error();
}

DefaultsStore::Batch::Batch(DefaultsStore& store, std::string domain)
    : store_(store)
    , domain_(std::move(domain))
{
    store_.beginBatch(domain_);
}

DefaultsStore::Batch::~Batch()
{
    store_.endBatch(domain_);
}

void DefaultsStore::beginBatch(const std::string& name)
{
    const std::lock_guard lock(mutex_);
    Domain& domain = domains_[name];
    if (domain.batches++ > 0 || folder_.empty())
        return;
    if (auto guard = locked(name))
        domain.lock = *std::move(guard);
}

void DefaultsStore::endBatch(const std::string& name)
{
    const std::lock_guard lock(mutex_);
    Domain& domain = domains_[name];
    if (--domain.batches > 0)
        return;
    if (!domain.unwritten.empty())
        store(name, domain);
    domain.lock.reset();
}

int DefaultsStore::writeLocked(const std::string& name, Domain& domain)
{
    const auto reading = read(name, domain);
    if (!reading)
        return reading.error();
    const bool damaged = *reading == Reading::Damaged;
    std::string path = pathForDomain(name);
    std::error_code error;
    // People keep their settings elsewhere and link them here: it is that file which is replaced, not the link.
    if (std::filesystem::is_symlink(path, error)) {
        const auto target = std::filesystem::canonical(path, error);
        if (!error)
            path = target.string();
    }
    if (damaged) {
        if (const int error = setAside(path))
            return error;
    }
    Dictionary contents = domain.stored;
    for (const auto& [key, value] : domain.unwritten) {
        if (value.isNothing())
            contents.erase(key);
        else
            contents[key] = value;
    }
    // Several processes often store what is there already; the disk needn't hear of it.
    if (!damaged && domain.stamp && contents == domain.stored) {
        domain.unwritten.clear();
        return 0;
    }
    return replaceFile(path, contents, domain);
}

int DefaultsStore::replaceFile(const std::string& path, const Dictionary& contents, Domain& domain)
{
    const std::string text = xmlPropertyList(withTexts(Value(contents), escaped));
    if (text.empty())
        return EFBIG;
    const auto replaced = vitrel::replaceFile(files_, path, bytesOf(text), {.mode = 0600});
    if (!replaced)
        return replaced.error();
    domain.stored = contents;
    domain.parsed.reset();
    domain.unwritten.clear();
    domain.stamp = stampOf(*replaced);
    domain.settled = false;
    domain.known = true;
    domain.reportedDamage = false;
    return 0;
}

int DefaultsStore::setAside(const std::string& path)
{
    struct ::stat status {
    };
    std::string place = path + ".damaged";
    for (int number = 2; files_.stat(place.c_str(), &status) == 0; ++number)
        place = path + ".damaged-" + std::to_string(number);
    if (files_.rename(path.c_str(), place.c_str()) != 0)
        return errno;
    NSLog(log_, "The settings in %@ couldn't be read; the file is now %@", {path, place});
    return 0;
}

} // namespace vitrel
