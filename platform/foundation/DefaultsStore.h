#pragma once

#include "base/Result.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace vitrel {

// The stored defaults: one property list for each domain in one folder, shared by every process of the user. A read
// sees what any process wrote last; a write keeps what others wrote beside it. What can't be written stays in memory
// for this process, is said once in the log, and goes out with the next write that succeeds. Any thread.
class DefaultsStore
{
public:
    // `folder` is made when something is first written. An empty one keeps everything in memory.
    DefaultsStore(std::string folder, FileSystem& files, LogSink log);

    std::optional<Value> valueForKey(const std::string& domain, const std::string& key);
    Dictionary dictionaryForDomain(const std::string& domain);
    // Nothing removes the key. A value without a form in a property list is refused, with a line in the log.
    void setValueForKey(const std::string& domain, const std::string& key, const Value& value);
    // Writes what an earlier failure kept in memory. True if nothing is left unwritten.
    bool synchronize(const std::string& domain);

    // Gathers this process's changes to a domain: while one lives, other processes wait with theirs, every read sees
    // what is there for good, and what was stored meanwhile goes to the disk in one write at its end. For a change that
    // depends on what it reads, and for many at once. May be nested; the store outlives it. Of several domains begin
    // them in one order everywhere: the saver's, then the host's.
    class Batch
    {
    public:
        Batch(DefaultsStore& store, std::string domain);
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        DefaultsStore& store_;
        const std::string domain_;
    };

    // What the command line sets, above every domain and never stored.
    void setArgument(const std::string& key, const Value& value);
    // What holds where no domain has the key, or has an empty text or array there. Below every domain and never stored.
    void setFallback(const std::string& key, const Value& value);
    // From now on the disk is read and not written: what is stored lasts until the process ends.
    void keepInMemory();

    // Whether there is no folder, so that nothing outlives the process.
    bool isVolatile() const { return folder_.empty(); }
    std::string pathForDomain(const std::string& domain) const;

private:
    // Which state of a file a cache shows. Every write makes a new file, so the inode moves too.
    struct Stamp {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        std::int64_t modified = 0; // nanoseconds
        friend bool operator==(const Stamp&, const Stamp&) = default;
    };
    struct Domain {
        std::optional<Stamp> stamp; // of the file behind `stored`; absent if there was none
        bool settled = false; // read long enough after the last change for the stamp to tell states apart
        bool known = false;
        Dictionary stored;
        std::optional<Bytes> parsed; // the file's bytes of which `stored` was made
        int batches = 0;
        std::unique_ptr<FileDescriptor> lock; // held while there are batches; null if it couldn't be had
        Dictionary unwritten; // nothing stands for a removed key
        bool reportedFailure = false, reportedDamage = false;
    };

    static Stamp stampOf(const struct ::stat& status);
    static bool isSettled(const Stamp& stamp);
    Domain& refreshed(const std::string& name);
    enum class Reading { Fine, Damaged }; // there is a file and it can't be parsed; `stored` is empty then
    // Or errno.
    Result<Reading, int> read(const std::string& name, Domain& domain);
    // Brings `unwritten` into the file. 0, or errno.
    int write(const std::string& name, Domain& domain);
    // The lock of the domain's file, or errno.
    Result<std::unique_ptr<FileDescriptor>, int> locked(const std::string& name);
    void beginBatch(const std::string& name);
    void endBatch(const std::string& name);
    int writeLocked(const std::string& name, Domain& domain);
    int replaceFile(const std::string& path, const Dictionary& contents, Domain& domain);
    int setAside(const std::string& path);
    int lock(int fd);
    void store(const std::string& name, Domain& domain);

    const std::string folder_;
    FileSystem& files_;
    const LogSink log_;
    std::mutex mutex_;
    std::map<std::string, Domain> domains_;
    Dictionary arguments_, fallbacks_;
    bool keepsInMemory_ = false;
};

} // namespace vitrel
