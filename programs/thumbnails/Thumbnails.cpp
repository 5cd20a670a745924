#include "programs/thumbnails/Thumbnails.h"

#include "base/MD5.h"
#include "base/Text.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/UUID.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "programs/child/ChildProcess.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <utility>

namespace vitrel {
namespace {

namespace fs = std::filesystem;

// A composition that has shown nothing in so long shows nothing in a thumbnail either.
constexpr Seconds kPatience{12};
constexpr const char* kTimeToPlay = "1.2"; // seconds; most compositions fade in
constexpr const char* kTimeWithData = "3"; // until covers and news have come and faded in
// How long a file's time and size are taken for granted.
constexpr Seconds kFresh{3};
// A picture of this size as a PNG has a quarter of this at most.
constexpr std::uintmax_t kMostBytes = 1 << 20;
// Of what was kept before there were facts beside a picture, nothing is taken.
const std::string kForm = "2:";
// In the cache, some 60 MB; the oldest go.
constexpr std::size_t kMostFiles = 2000; // two for each
// Pictures in memory: more than any window shows, some forty megabytes.
constexpr std::size_t kMostInMemory = 120;

} // namespace

struct Thumbnails::Work {
    static constexpr Seconds kNever{-1e9};
    struct Entry {
        Seconds looked = kNever;
        std::string key; // of the file as it was at the last look; empty if it isn't there
        bool known = true; // picture or none, nothing is to be done
        std::shared_ptr<const Bitmap> picture;
        std::shared_ptr<const CompositionFacts> facts;
    };

    Work(Thumbnails& owner, RunLoop& loop, std::string program, std::string folder)
        : owner_(owner)
        , loop_(loop)
        , program_(std::move(program))
        , folder_(std::move(folder))
    {
        std::error_code error;
        if (folder_.empty()) {
            std::string pattern = (fs::temp_directory_path(error) / "vitrel-thumbnails-XXXXXX").string();
            folder_ = ::mkdtemp(pattern.data()) ? pattern : "";
            temporary_ = true;
        } else {
            fs::create_directories(folder_, error);
            prune();
        }
    }
    ~Work()
    {
        if (timer_)
            timer_->invalidate();
        process_.reset();
        std::error_code error;
        if (!busy_.empty()) {
            fs::remove(part_, error);
            fs::remove(part_ + ".json", error);
        }
        if (temporary_ && !folder_.empty())
            fs::remove_all(folder_, error);
    }

    std::string fileOf(const std::string& key) const { return folder_ + "/" + key + ".png"; }
    std::string factsFileOf(const std::string& key) const { return folder_ + "/" + key + ".json"; }
    // Another window may render the same one.

    Entry& lookAt(const std::string& path)
    {
        Entry& entry = entries_[path];
        const Seconds now = loop_.clock().now();
        if (now - entry.looked < kFresh)
            return entry;
        entry.looked = now;
        struct ::stat status {
        };
        std::string key;
        if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
            const std::string state = kForm + path + '\0' + std::to_string(status.st_mtim.tv_sec) + '.'
                + std::to_string(status.st_mtim.tv_nsec) + '.' + std::to_string(status.st_size) + '@'
                + std::to_string(kWidth);
            key = hexadecimal(md5(bytesOf(state)));
        }
        if (key != entry.key) {
            entry.key = key;
            entry.picture.reset();
            entry.facts.reset();
            entry.known = key.empty() || takeGiven(entry, path) || take(entry);
        }
        return entry;
    }
    // The picture that comes along with it.
    bool takeGiven(Entry& entry, const std::string& path)
    {
        const auto given = given_.find(path);
        if (given == given_.end() || given->second.empty())
            return false;
        const auto bytes = readFile(given->second, kMostBytes);
        return bytes && decode(entry, *bytes);
    }
    static bool decode(Entry& entry, const Bytes& bytes)
    {
        const auto image = NSImage::imageWithData(bytes);
        if (!image || image->representations().empty())
            return false;
        entry.picture = image->representations().front().bitmap();
        return entry.picture != nullptr;
    }
    // From the cache. True if the cache knows, an empty file stands for none.
    bool take(Entry& entry)
    {
        const auto bytes = readFile(fileOf(entry.key), kMostBytes);
        if (!bytes)
            return false;
        if (!bytes->empty())
            decode(entry, *bytes);
        takeFacts(entry);
        return true;
    }

    void takeFacts(Entry& entry)
    {
        constexpr std::size_t kMostOfFacts = 1 << 18;
        constexpr int kDeepest = 8;
        const auto bytes = readFile(factsFileOf(entry.key), kMostOfFacts);
        if (!bytes || !qc::nestsAtMost(textOf(*bytes), kDeepest))
            return;
        const auto said = nlohmann::ordered_json::parse(textOf(*bytes), nullptr, false);
        if (said.is_object())
            entry.facts = std::make_shared<const CompositionFacts>(compositionFacts(said));
    }

    void next()
    {
        while (!process_ && !wanted_.empty()) {
            const std::string path = wanted_.front();
            wanted_.erase(wanted_.begin());
            const Entry& entry = lookAt(path);
            if (!entry.known && !folder_.empty())
                render(path, entry.key);
        }
    }
    void render(const std::string& path, const std::string& key)
    {
        busy_ = path;
        busyKey_ = key;
        part_ = folder_ + "/" + UUIDString() + ".part";
        const bool isOurs = given_.contains(path);
        process_ = ChildProcess::start(loop_, ChildProcess::Kind::apart, program_,
            {"vitrel", "snapshot", isOurs ? "--demo" : "--without-data", "--output", part_, "--size",
                std::to_string(kWidth) + "x" + std::to_string(kHeight), "--after", isOurs ? kTimeWithData : kTimeToPlay,
                "--facts", part_ + ".json", "--", path},
            -1, [this](int status) { rendered(WIFEXITED(status) && WEXITSTATUS(status) == 0); });
        if (process_)
            timer_ = loop_.scheduledTimer(kPatience, false, [this] { process_->kill(SIGKILL); });
        else
            busy_.clear();
    }
    void rendered(bool well)
    {
        timer_->invalidate();
        process_.reset();
        const std::string path = std::exchange(busy_, {});
        std::error_code error;
        if (well)
            fs::rename(part_, fileOf(busyKey_), error);
        else
            writeFile(fileOf(busyKey_), {}, {.mode = 0600, .lasting = false});
        fs::remove(part_, error);
        fs::rename(part_ + ".json", factsFileOf(busyKey_), error);
        Entry& entry = entries_[path];
        if (entry.key == busyKey_) {
            entry.known = true;
            take(entry);
        }
        loop_.post([alive = std::weak_ptr<int>(alive_), this] {
            if (!alive.expired())
                next();
        });
        if (owner_.onReady)
            owner_.onReady(path);
    }

    void prune()
    {
        std::error_code error;
        std::vector<std::pair<fs::file_time_type, fs::path>> files;
        for (const auto& entry : fs::directory_iterator(folder_, error))
            files.emplace_back(entry.last_write_time(error), entry.path());
        if (files.size() <= kMostFiles)
            return;
        std::sort(files.begin(), files.end());
        files.resize(files.size() - kMostFiles);
        for (const auto& [time, file] : files)
            fs::remove(file, error);
    }

    Thumbnails& owner_;
    RunLoop& loop_;
    const std::string program_;
    std::string folder_;
    bool temporary_ = false;
    std::map<std::string, Entry> entries_;
    std::map<std::string, std::string> given_; // what comes along, and its picture
    std::vector<std::string> wanted_;
    std::string busy_, busyKey_, part_; // what is being rendered, and where to
    std::unique_ptr<ChildProcess> process_;
    std::shared_ptr<NSTimer> timer_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

std::string Thumbnails::userFolder()
{
    return vitrel::userFolder(UserFolder::Cache, "thumbnails");
}

Thumbnails::Thumbnails(RunLoop& loop, std::string program, std::string folder)
    : work_(std::make_unique<Work>(*this, loop, std::move(program), std::move(folder)))
{ }

Thumbnails::~Thumbnails() = default;

std::shared_ptr<const Bitmap> Thumbnails::thumbnail(const std::string& path)
{
    return work_->lookAt(path).picture;
}

std::shared_ptr<const CompositionFacts> Thumbnails::facts(const std::string& path)
{
    return work_->lookAt(path).facts;
}

void Thumbnails::lookAgain(const std::string& path)
{
    if (const auto entry = work_->entries_.find(path); entry != work_->entries_.end())
        entry->second.looked = Work::kNever;
}

void Thumbnails::comesAlong(const std::string& path, const std::string& picture)
{
    work_->given_[path] = picture;
}

void Thumbnails::want(std::vector<std::string> paths)
{
    if (work_->entries_.size() > kMostInMemory) {
        std::erase_if(work_->entries_,
            [&](const auto& entry) { return std::find(paths.begin(), paths.end(), entry.first) == paths.end(); });
    }
    work_->wanted_ = std::move(paths);
    work_->next();
}

} // namespace vitrel
