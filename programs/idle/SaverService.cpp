#include "programs/idle/SaverService.h"

#include "platform/messagebus/BusConnection.h"
#include "platform/messagebus/BusTypes.h"

#include <chrono>

namespace vitrel {

namespace {

constexpr const char* kName = "org.freedesktop.ScreenSaver";
constexpr const char* kBus = "org.freedesktop.DBus";
constexpr std::uint32_t kDoNotQueue = 4; // of RequestName
constexpr std::uint32_t kPrimaryOwner = 1; // its answer
constexpr std::chrono::seconds kPatience{5};
constexpr Seconds kFirstRetry{30}, kLongestRetry{1800};

} // namespace

class SaverService::Connection : public BusConnection
{
public:
    Connection(RunLoop& loop, SaverService& service)
        : BusConnection(loop, Kind::session, {kFirstRetry, kLongestRetry})
        , to(&service)
    { }
    ~Connection() override { close(); }

    SaverService* to; // null once it has gone
    bool ours = false;

private:
    void opened(sdbus::IConnection& bus) override;
    void closing() override;
    void offer(sdbus::IConnection& bus, const char* path);
    void tell()
    {
        if (to && to->onChanged)
            to->onChanged(book_);
    }

    InhibitorBook book_;
    std::vector<std::unique_ptr<sdbus::IObject>> objects_;
    std::unique_ptr<sdbus::IProxy> names_;
};

void SaverService::Connection::offer(sdbus::IConnection& bus, const char* path)
{
    auto object = sdbus::createObject(bus, sdbus::ObjectPath(path));
    auto* raw = object.get();
    offerMethod(*object, kName, "Inhibit",
        [this, raw](const std::string& who, const std::string& why) {
            const std::uint32_t cookie = book_.add(senderOf(*raw), {who, why});
            if (cookie == 0)
                throw sdbus::Error(BusErrorName("org.freedesktop.DBus.Error.LimitsExceeded"), "too many requests");
            tell();
            return cookie;
        },
        {"application_name", "reason_for_inhibit"}, {"cookie"});
    offerMethod(*object, kName, "UnInhibit",
        [this, raw](std::uint32_t cookie) {
            if (!book_.remove(senderOf(*raw), cookie))
                throw sdbus::Error(BusErrorName("org.freedesktop.DBus.Error.InvalidArgs"), "there is no such request");
            tell();
        },
        {"cookie"});
    finish(*object);
    objects_.push_back(std::move(object));
}

void SaverService::Connection::opened(sdbus::IConnection& bus)
{
    // Applications use either.
    offer(bus, "/ScreenSaver");
    offer(bus, "/org/freedesktop/ScreenSaver");
    names_ = sdbus::createProxy(bus, BusName(kBus), sdbus::ObjectPath("/org/freedesktop/DBus"));
    onSignal(*names_, kBus, "NameOwnerChanged", [this](sdbus::Signal& signal) {
        try {
            std::string name, oldOwner, newOwner;
            signal >> name >> oldOwner >> newOwner;
            if (!newOwner.empty() || name.empty() || name.front() != ':')
                return;
            book_.removeAll(name);
            tell();
        } catch (const sdbus::Error&) { }
    });
    finish(*names_);
    names_->callMethodAsync("RequestName")
        .onInterface(kBus)
        .withTimeout(kPatience)
        .withArguments(kName, kDoNotQueue)
        .uponReplyInvoke([this](BusError error, std::uint32_t answer) {
            ours = !error && answer == kPrimaryOwner;
            if (!ours) {
                // Nobody will ask us, so nobody's coming and going matters.
                loop().post([weak = weak_from_this()] {
                    if (const auto connection = weak.lock())
                        connection->close();
                });
            }
        });
}

void SaverService::Connection::closing()
{
    objects_.clear();
    names_.reset();
    book_ = {};
    ours = false;
    tell();
}

SaverService::SaverService(RunLoop& loop)
    : connection_(std::make_shared<Connection>(loop, *this))
{ }

SaverService::~SaverService()
{
    connection_->to = nullptr;
}

void SaverService::start()
{
    connection_->open();
}

bool SaverService::isOurs() const
{
    return connection_->ours;
}

} // namespace vitrel
