#include "programs/muralis/http/SocketOwner.h"
#include "muralis/Caller.h"
#include "programs/muralis/http/HttpServer.h"
#include "support/ManualLoop.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

sockaddr_storage address(std::uint32_t ip, std::uint16_t port)
{
    sockaddr_in in{};
    in.sin_family = AF_INET;
    in.sin_addr.s_addr = htonl(ip);
    in.sin_port = htons(port);
    sockaddr_storage out{};
    std::memcpy(&out, &in, sizeof in);
    return out;
}

// Written as proc(5) describes it. A socket whose holder has gone is listed as root's; taken for the owner, anybody
// who closes early would be root.
TEST(SocketOwner, IsTheOneOfTheLivingSocketAtThePeersEnd)
{
    const ConnectionEnds ends{address(0x7F000001, 0x81B0), address(0x7F000001, 0x264A)};
    const std::string head = "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid\n";
    const std::string tail = " 00000000:00000000 00:00000000 00000000 ";
    const std::tuple<std::string, std::optional<uid_t>, const char*> cases[] = {
        {"   2: 0100007F:81B0 0100007F:264A 01" + tail + "  1000        0 673597 2\n", 1000, "the peer's socket"},
        {" 123: 0100007F:81B0 0100007F:264A 01" + tail + "4294967294 0 1\n", 4294967294, "the greatest user"},
        {"   2: 0000000000000000FFFF00000100007F:81B0 0000000000000000FFFF00000100007F:264A 01" + tail + " 33 0 1\n",
            33, "an IPv6 socket that speaks IPv4"},
        {"   2: 0100007F:81B0 0100007F:264A 04" + tail + " 7 0 1\n", 7, "it has sent all it will"},
        {"   3: 0100007F:264A 0100007F:81B0 01" + tail + "  1000        0 673598 1\n", std::nullopt, "our own end"},
        {"   3: 0100007F:81B0 0100007F:264B 01" + tail + "  1000        0 673598 1\n", std::nullopt, "another port"},
        {"   3: 0200007F:81B0 0100007F:264A 01" + tail + "  1000        0 673598 1\n", std::nullopt, "another address"},
        {"   1: 0100007F:81B0 0100007F:264A 06 00000000:00000000 03:00001770 00000000     0        0 0 3\n",
            std::nullopt, "nobody's any more"},
        {"   1: 0100007F:81B0 0100007F:264A 01" + tail, std::nullopt, "cut off"},
        {"", std::nullopt, "nothing"},
    };
    for (const auto& [line, owner, why] : cases)
        EXPECT_EQ(ownerInSocketList(head + line, ends), owner) << why;
    EXPECT_EQ(ownerInSocketList(head + std::get<0>(cases[7]) + std::get<0>(cases[0]), ends), 1000u)
        << "a number used again";
}

TEST(SocketOwner, IsFoundForRealConnectionsOfEachKind)
{
    ManualLoop in;
    std::optional<uid_t> owner;
    const auto server = HttpServer::listen(in.loop, 0, [&](const HttpRequest&, const HttpServer::Owner& ownerOfCaller) {
        owner = ownerOfCaller();
        return HttpAnswer();
    });
    for (const int family : {AF_INET, AF_UNSPEC, AF_INET6}) {
        const Caller caller((*server)->port(), family);
        if (!caller.isConnected())
            GTEST_SKIP() << "no IPv6 here";
        owner.reset();
        caller.send(get("/"));
        for (int turn = 0; turn < 8; ++turn)
            in.loop.turn();
        EXPECT_EQ(owner, geteuid()) << family;
    }
}

} // namespace
} // namespace vitrel
