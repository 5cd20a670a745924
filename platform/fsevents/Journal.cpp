#include "platform/fsevents/Journal.h"

#include "base/MD5.h"
#include "base/Text.h"
#include "platform/foundation/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <limits>

namespace vitrel {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kHead = "vitrel-fsevents 1";
constexpr std::size_t kMostPath = 65536;
// Numbers beyond are nobody's: identifiers that a broken file has pushed to the end could not rise any more.
constexpr FSEventStreamEventId kMostId = std::numeric_limits<FSEventStreamEventId>::max() / 2;

std::atomic<FSEventStreamEventId> processIds{0};

void appendPath(std::string& out, const std::string& path)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const unsigned char c : path) {
        if (c <= ' ' || c == '%' || c == 0x7f)
            (out += '%', out += kDigits[c >> 4]) += kDigits[c & 15];
        else
            out += static_cast<char>(c);
    }
}

// The words of one line, front to back.
class Line
{
public:
    explicit Line(std::string_view text)
        : rest_(text)
    { }
    bool isKeyword(std::string_view word) { return next() == word && isGood_; }
    template <class Number> void number(Number& out)
    {
        const auto word = next();
        const auto result = std::from_chars(word.data(), word.data() + word.size(), out);
        isGood_ &= result.ec == std::errc() && result.ptr == word.data() + word.size();
    }
    void path(std::string& out)
    {
        const auto word = next();
        isGood_ &= word.size() <= 3 * kMostPath && word.starts_with('/');
        for (std::size_t k = 0; isGood_ && k < word.size(); ++k) {
            unsigned code = static_cast<unsigned char>(word[k]);
            if (word[k] == '%') {
                const auto hex = word.substr(k + 1, 2);
                const auto result = std::from_chars(hex.data(), hex.data() + hex.size(), code, 16);
                isGood_ &= hex.size() == 2 && result.ec == std::errc() && result.ptr == hex.data() + 2 && code;
                k += 2;
            } else {
                isGood_ &= code > ' ' && code != 0x7f; // these are written otherwise
            }
            out += static_cast<char>(code);
        }
    }
    bool isWhole() const { return isGood_ && isOver_; }

private:
    std::string_view next()
    {
        const auto blank = rest_.find(' ');
        isGood_ &= !isOver_;
        isOver_ = blank == rest_.npos;
        const auto word = rest_.substr(0, blank);
        rest_ = isOver_ ? std::string_view() : rest_.substr(blank + 1);
        return word;
    }
    std::string_view rest_;
    bool isGood_ = true, isOver_ = false;
};

bool readLine(std::string_view text, FSJournal& journal)
{
    Line line(text);
    if (text.starts_with("event ")) {
        FSEvent event;
        line.isKeyword("event");
        line.number(event.id);
        line.number(event.flags);
        line.path(event.path);
        const auto before = journal.events.empty() ? journal.from : journal.events.back().id;
        if (!line.isWhole() || event.id <= before || event.id > journal.last
            || journal.events.size() >= FSJournal::kMostEvents)
            return false;
        journal.events.push_back(std::move(event));
        return true;
    }
    FSItem item;
    std::string path;
    if (!line.isKeyword("item"))
        return false;
    line.number(item.inode);
    for (auto* number : {&item.mode, &item.user, &item.group})
        line.number(*number);
    line.number(item.links);
    line.number(item.size);
    line.number(item.modified);
    line.number(item.changed);
    line.path(path);
    return line.isWhole() && journal.snapshot.size() < kMostItems
        && journal.snapshot.emplace(std::move(path), item).second;
}

} // namespace

void FSJournal::add(const FSEvent& event)
{
    if (events.size() >= kMostEvents) {
        from = events.front().id;
        events.pop_front();
    }
    events.push_back(event);
    last = event.id;
}

std::string journalText(const FSJournal& journal)
{
    std::string out(kHead);
    out += "\nid " + std::to_string(journal.last) + ' ' + std::to_string(journal.from) + '\n';
    for (const auto& event : journal.events) {
        out += "event " + std::to_string(event.id) + ' ' + std::to_string(event.flags) + ' ';
        appendPath(out, event.path);
        out += '\n';
    }
    for (const auto& [path, item] : journal.snapshot) {
        out += "item " + std::to_string(item.inode) + ' ' + std::to_string(item.mode) + ' ' + std::to_string(item.user)
            + ' ' + std::to_string(item.group) + ' ' + std::to_string(item.links) + ' ' + std::to_string(item.size)
            + ' ' + std::to_string(item.modified) + ' ' + std::to_string(item.changed) + ' ';
        appendPath(out, path);
        out += '\n';
    }
    return out + "end " + std::to_string(journal.events.size() + journal.snapshot.size()) + '\n';
}

std::optional<FSJournal> readJournal(std::string_view text)
{
    FSJournal journal;
    std::size_t lines = 0;
    const auto nextLine = [&] {
        const auto end = text.find('\n');
        const auto line = text.substr(0, end);
        text = end == text.npos ? std::string_view() : text.substr(end + 1);
        return line;
    };
    if (text.size() > FSJournal::kMostBytes || nextLine() != kHead)
        return std::nullopt;
    Line ids(nextLine());
    if (!ids.isKeyword("id"))
        return std::nullopt;
    ids.number(journal.last);
    ids.number(journal.from);
    if (!ids.isWhole() || journal.last > kMostId || journal.from > journal.last)
        return std::nullopt;
    while (!text.empty()) {
        const auto line = nextLine();
        if (line.starts_with("end "))
            return text.empty() && line.substr(4) == std::to_string(lines) ? std::optional(std::move(journal))
                                                                           : std::nullopt;
        if (!readLine(line, journal))
            return std::nullopt;
        ++lines;
    }
    return std::nullopt;
}

std::string FSJournals::userFolder()
{
    return vitrel::userFolder(UserFolder::State, "fsevents");
}

FSJournals::FSJournals(std::string folder)
    : folder_(std::move(folder))
{
    std::error_code error;
    if (!folder_.empty()) {
        fs::create_directories(folder_, error);
        // It names the user's files.
        fs::permissions(folder_, fs::perms::owner_all, error);
    }
}

std::string FSJournals::fileOf(const std::vector<std::string>& roots) const
{
    std::string all;
    for (const auto& root : roots)
        all += root + '\0';
    return folder_ + "/" + hexadecimal(md5(bytesOf(all))) + ".journal";
}

std::optional<FSJournal> FSJournals::load(const std::vector<std::string>& roots) const
{
    if (folder_.empty())
        return std::nullopt;
    const auto bytes = readFile(fileOf(roots), FSJournal::kMostBytes);
    return bytes ? readJournal(textOf(*bytes)) : std::nullopt;
}

bool FSJournals::save(const std::vector<std::string>& roots, const FSJournal& journal) const
{
    if (folder_.empty())
        return false;
    const std::string text = journalText(journal), path = fileOf(roots);
    if (text.size() > FSJournal::kMostBytes)
        return false;
    FileSystem files;
    if (!replaceFile(files, path, bytesOf(text), {.mode = 0600, .lasting = false}))
        return false;
    prune();
    return true;
}

void FSJournals::prune() const
{
    std::error_code error;
    std::vector<std::pair<fs::file_time_type, fs::path>> journals;
    for (const auto& entry : fs::directory_iterator(folder_, error)) {
        if (entry.path().filename() != "counter")
            journals.emplace_back(entry.last_write_time(error), entry.path());
    }
    if (journals.size() <= kMostFiles)
        return;
    std::sort(journals.begin(), journals.end());
    journals.resize(journals.size() - kMostFiles);
    for (const auto& [time, path] : journals)
        fs::remove(path, error);
}

FSEventStreamEventId FSJournals::take(std::size_t count, FSEventStreamEventId above) const
{
    FileSystem files;
    const FileDescriptor file(files,
        folder_.empty() ? -1
                        : files.open((folder_ + "/counter").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (above > kMostId)
        above = 0;
    FSEventStreamEventId stored = 0;
    char text[24] = {};
    const bool isLocked = file.get() >= 0 && files.flock(file.get(), LOCK_EX) == 0;
    if (isLocked) {
        const ssize_t size = ::pread(file.get(), text, sizeof text - 1, 0);
        std::from_chars(text, text + std::max<ssize_t>(size, 0), stored);
    }
    // Also for this process alone, should the file not be there or have been thrown away.
    const FSEventStreamEventId least = std::max(above, stored > kMostId ? 0 : stored);
    FSEventStreamEventId before = processIds.load();
    while (!processIds.compare_exchange_weak(before, std::max(before, least) + count)) { }
    const FSEventStreamEventId first = std::max(before, least) + 1;
    if (isLocked) {
        const std::string now = std::to_string(first + count - 1) + "\n";
        if (::pwrite(file.get(), now.data(), now.size(), 0) == static_cast<ssize_t>(now.size()))
            (void)!::ftruncate(file.get(), static_cast<off_t>(now.size()));
    }
    return first;
}

} // namespace vitrel
