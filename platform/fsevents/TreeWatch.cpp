#include "platform/fsevents/TreeWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

namespace vitrel {
namespace {

constexpr std::uint32_t kEntries = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kContents = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;
// Reads of one turn, some thousand events each: who changes files without pause doesn't keep the loop.
constexpr int kMostReads = 64;

std::string parentOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::vector<std::string> rootsOf(const std::vector<std::string>& paths)
{
    std::vector<std::string> all, roots;
    for (const auto& path : paths) {
        std::error_code error;
        std::string whole = std::filesystem::absolute(path, error).lexically_normal().string();
        if (whole.size() > 1 && whole.back() == '/')
            whole.pop_back();
        if (!path.empty() && !error && path.find('\0') == std::string::npos)
            all.push_back(std::move(whole));
    }
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    const std::set<std::string> known(all.begin(), all.end());
    for (const auto& path : all) {
        bool isInner = false;
        for (std::string folder = path; folder != "/" && !isInner;)
            isInner = known.count(folder = parentOf(folder)) > 0;
        if (!isInner)
            roots.push_back(path);
    }
    return roots;
}

} // namespace

TreeWatch::TreeWatch(const std::vector<std::string>& paths)
    : descriptor_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , roots_(rootsOf(paths))
{
    for (const auto& root : roots_) {
        parents_.insert(parentOf(root));
        for (std::string folder = root; folder != "/";)
            ways_.insert(folder = parentOf(folder));
    }
}

TreeWatch::~TreeWatch()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

void TreeWatch::start(std::optional<FSSnapshot> known)
{
    if (known)
        snapshot_ = std::move(*known);
    watchWays();
    compareAll();
    if (!known) {
        events_.clear();
        lastEvent_.clear();
    }
}

void TreeWatch::addWatch(const std::string& folder, bool isTree)
{
    if (watches_.size() >= kMostWatches)
        return;
    const bool isParent = isTree || parents_.count(folder);
    const bool follows = !isTree || isRoot(folder);
    const int watch = ::inotify_add_watch(descriptor_, folder.c_str(),
        kEntries | (isParent ? kContents : 0) | IN_ONLYDIR | IN_MASK_ADD | (follows ? 0 : IN_DONT_FOLLOW));
    if (watch < 0)
        return;
    Watch& entry = watches_[watch];
    if (entry.isTree && !isTree)
        return;
    if (entry.folder != folder) {
        const auto old = watchOfFolder_.find(entry.folder);
        if (old != watchOfFolder_.end() && old->second == watch)
            watchOfFolder_.erase(old);
    }
    entry = {folder, isTree};
    watchOfFolder_[folder] = watch;
}

void TreeWatch::watchWays()
{
    for (const auto& folder : ways_)
        addWatch(folder, false);
}

bool TreeWatch::isRoot(const std::string& path) const
{
    return std::binary_search(roots_.begin(), roots_.end(), path);
}

std::optional<FSItem> TreeWatch::look(const std::string& path) const
{
    struct ::stat status {
    };
    if ((isRoot(path) ? ::stat : ::lstat)(path.c_str(), &status) != 0)
        return std::nullopt;
    return FSItem::of(status);
}

void TreeWatch::compareAll()
{
    for (const auto& root : roots_)
        compare(root);
}

void TreeWatch::compare(const std::string& path)
{
    FSSnapshot then;
    if (auto item = snapshot_.extract(path))
        then.insert(std::move(item));
    const auto [first, last] = beneath(snapshot_, path);
    for (auto item = first; item != last;)
        then.insert(then.end(), snapshot_.extract(item++));
    const std::size_t room = kMostItems - std::min(kMostItems, snapshot_.size());
    FSSnapshot now = walkTree(path, isRoot(path), room, [this](const std::string& folder) { addWatch(folder, true); });
    for (const auto& event : differences(then, now))
        tell(event.flags, event.path);
    snapshot_.merge(now);
}

void TreeWatch::tell(FSEventStreamEventFlags flags, const std::string& path)
{
    const auto [last, isFirst] = lastEvent_.emplace(path, events_.size());
    const bool isContents = flags & kFSEventStreamEventFlagItemModified;
    if (!isFirst && isContents && events_[last->second].path == path && events_[last->second].flags == flags)
        return; // many writes, one event
    last->second = events_.size();
    events_.push_back({0, flags, path});
}

void TreeWatch::read()
{
    alignas(inotify_event) char buffer[65536];
    for (int reads = 0; reads < kMostReads; ++reads) {
        const ssize_t size = ::read(descriptor_, buffer, sizeof buffer);
        if (size <= 0)
            break;
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, buffer + at, sizeof event);
            take(event.wd, event.mask, event.cookie, event.len ? buffer + at + sizeof event : "");
            at += ssize_t(sizeof event + event.len);
        }
    }
}

void TreeWatch::take(int watch, std::uint32_t mask, std::uint32_t cookie, const std::string& name)
{
    if (mask & IN_Q_OVERFLOW) {
        hasLost_ = true;
        return;
    }
    const auto found = watches_.find(watch);
    if (found == watches_.end())
        return;
    if (mask & IN_IGNORED) {
        const auto place = watchOfFolder_.find(found->second.folder);
        if (place != watchOfFolder_.end() && place->second == watch)
            watchOfFolder_.erase(place);
        watches_.erase(found);
        return;
    }
    if (name.empty())
        return; // of the folder itself: its parent tells
    const std::string path = (found->second.folder == "/" ? "" : found->second.folder) + "/" + name;
    if (found->second.isTree || isRoot(path))
        changedInTree(path, mask, cookie);
    else if (ways_.count(path) && mask & kEntries)
        changedOnTheWay(path);
}

void TreeWatch::changedOnTheWay(const std::string& path)
{
    watchWays();
    for (const auto& root : roots_) {
        if (isBeneath(root, path))
            compare(root);
    }
}

void TreeWatch::changedInTree(const std::string& path, std::uint32_t mask, std::uint32_t cookie)
{
    if (mask & IN_CREATE)
        came(path, mask & IN_ISDIR);
    else if (mask & IN_DELETE)
        went(path);
    else if (mask & IN_MOVED_FROM)
        wentByRename(path, mask & IN_ISDIR, cookie);
    else if (mask & IN_MOVED_TO)
        cameByRename(path, mask & IN_ISDIR, cookie);
    else
        changed(path, mask);
}

void TreeWatch::put(const std::string& path, const FSItem& item)
{
    if (const auto place = snapshot_.find(path); place != snapshot_.end())
        place->second = item;
    else if (snapshot_.size() < kMostItems)
        snapshot_.emplace(path, item);
}

void TreeWatch::came(const std::string& path, bool isFolder)
{
    const auto old = snapshot_.find(path);
    const auto item = look(path);
    if (item && old != snapshot_.end() && old->second.inode == item->inode && old->second.isFolder() == isFolder)
        return; // found before its event came
    FSItem now;
    // Gone again: it was there all the same.
    now.mode = isFolder ? S_IFDIR : S_IFREG;
    if (item)
        now = *item;
    if (old != snapshot_.end())
        forgetBeneath(path);
    put(path, now);
    tell(now.kindFlags() | kFSEventStreamEventFlagItemCreated, path);
    if (item && now.isFolder())
        compare(path);
}

void TreeWatch::went(const std::string& path)
{
    const auto item = snapshot_.find(path);
    if (item == snapshot_.end() && snapshot_.size() < kMostItems)
        return; // told before its event came
    const auto [first, last] = beneath(snapshot_, path);
    for (auto inner = std::make_reverse_iterator(last); inner != std::make_reverse_iterator(first); ++inner)
        tell(inner->second.kindFlags() | kFSEventStreamEventFlagItemRemoved, inner->first);
    tell((item == snapshot_.end() ? 0 : item->second.kindFlags()) | kFSEventStreamEventFlagItemRemoved, path);
    forgetBeneath(path);
    snapshot_.erase(path);
}

void TreeWatch::wentByRename(const std::string& path, bool isFolder, std::uint32_t cookie)
{
    FSItem item;
    item.mode = isFolder ? S_IFDIR : S_IFREG;
    if (const auto known = snapshot_.extract(path))
        item = known.mapped();
    tell(item.kindFlags() | kFSEventStreamEventFlagItemRenamed, path);
    halfRenames_[cookie] = {path, item};
}

void TreeWatch::cameByRename(const std::string& path, bool isFolder, std::uint32_t cookie)
{
    const auto half = halfRenames_.find(cookie);
    FSItem item;
    item.mode = isFolder ? S_IFDIR : S_IFREG;
    forgetBeneath(path); // it has taken another's place
    if (half != halfRenames_.end()) {
        item = half->second.item;
        moveBeneath(half->second.path, path);
        halfRenames_.erase(half);
    }
    const auto now = look(path);
    if (now)
        item = *now;
    put(path, item);
    tell(item.kindFlags() | kFSEventStreamEventFlagItemRenamed, path);
    // Finds what came with it from outside, or before anybody watched it.
    if (now && now->isFolder())
        compare(path);
}

void TreeWatch::dropHalfRenames()
{
    for (const auto& [cookie, half] : std::exchange(halfRenames_, {})) {
        if (snapshot_.count(half.path))
            compare(half.path); // another has taken its place
        else
            forgetBeneath(half.path);
    }
}

void TreeWatch::changed(const std::string& path, std::uint32_t mask)
{
    const auto now = look(path);
    const auto known = snapshot_.find(path);
    const FSItem item = now ? *now : known != snapshot_.end() ? known->second : FSItem();
    FSEventStreamEventFlags flags = kFSEventStreamEventFlagItemModified;
    if (known != snapshot_.end() && now) {
        const auto changes = changeFlags(known->second, *now);
        if (mask & IN_ATTRIB) {
            flags = changes ? changes : kFSEventStreamEventFlagItemInodeMetaMod;
            known->second = item;
        } else {
            // The event of what else has changed is still to come.
            known->second.modified = item.modified;
            known->second.size = item.size;
            known->second.changed = item.changed;
            if (!(mask & IN_MODIFY))
                flags &= changes;
        }
    } else if (now) {
        put(path, item);
    }
    if (flags)
        tell(item.kindFlags() | flags, path);
}

void TreeWatch::forgetBeneath(const std::string& path)
{
    const auto [first, last] = beneath(snapshot_, path);
    snapshot_.erase(first, last);
    const auto drop = [this](const std::pair<const std::string, int>& place) {
        ::inotify_rm_watch(descriptor_, place.second);
        watches_.erase(place.second);
    };
    if (const auto own = watchOfFolder_.find(path); own != watchOfFolder_.end()) {
        drop(*own);
        watchOfFolder_.erase(own);
    }
    const auto firstWatch = watchOfFolder_.upper_bound(path + "/");
    const auto lastWatch = watchOfFolder_.lower_bound(path + "0");
    std::for_each(firstWatch, lastWatch, drop);
    watchOfFolder_.erase(firstWatch, lastWatch);
}

void TreeWatch::moveBeneath(const std::string& from, const std::string& to)
{
    const auto moved = [&](const std::string& path) { return to + path.substr(from.size()); };
    const auto [first, last] = beneath(snapshot_, from);
    for (auto item = first; item != last;) {
        auto node = snapshot_.extract(item++);
        node.key() = moved(node.key());
        snapshot_.insert(std::move(node));
    }
    std::vector<std::string> folders;
    if (watchOfFolder_.count(from))
        folders.push_back(from);
    for (auto place = watchOfFolder_.upper_bound(from + "/"); place != watchOfFolder_.lower_bound(from + "0"); ++place)
        folders.push_back(place->first);
    for (const auto& folder : folders) {
        auto node = watchOfFolder_.extract(folder);
        node.key() = moved(folder);
        watches_[node.mapped()].folder = node.key();
        watchOfFolder_.insert(std::move(node));
    }
}

FSEvents TreeWatch::takeEvents()
{
    if (std::exchange(hasLost_, false)) {
        watchWays();
        compareAll();
    }
    lastEvent_.clear();
    return std::exchange(events_, {});
}

} // namespace vitrel
