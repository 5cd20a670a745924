#pragma once

#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/Surroundings.h"
#include "support/ManualLoop.h"
#include "support/TemporaryFolder.h"

#include <string>
#include <vector>

namespace vitrel {

// Surroundings with everything in the test's hand: time, queues, settings that nobody else sees, and a bundle whose
// files the test writes. Nothing of it touches the user's own.
struct TestSurroundings : ManualLoop {
    static constexpr const char* kIdentifier = "org.example.saver";

    TemporaryFolder bundleFolder;
    std::string infoFile = bundleFolder.write(
        "Info.plist", "<plist><dict><key>CFBundleIdentifier</key><string>org.example.saver</string></dict></plist>");
    FileSystem files;
    std::vector<std::string> log;
    LogSink sink = [this](const std::string& line) { log.push_back(line); };
    DefaultsStore store{"", files, sink};
    NSBundle bundle{bundleFolder.path()};
    NSDistributedNotificationCenter center{loop};
    ManualQueue interactive, initiated, artwork, feeds;
    Surroundings surroundings;

    TestSurroundings()
    {
        surroundings.clock = &clock;
        surroundings.runLoop = &loop;
        surroundings.userInteractiveQueue = &interactive;
        surroundings.userInitiatedQueue = &initiated;
        surroundings.artworkQueue = &artwork;
        surroundings.feedQueue = &feeds;
        surroundings.defaults = &store;
        surroundings.classBundle = surroundings.mainBundle = &bundle;
        surroundings.notificationCenter = &center;
        surroundings.log = sink;
    }
};

} // namespace vitrel
