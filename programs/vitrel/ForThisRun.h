#pragma once

#include <string>

namespace vitrel {

class DefaultsStore;
class QCView;
struct Surroundings;

// What plays for one run alone; nothing of it is stored.

// The composition at `path`, as if it were the one entry of the user's list. None if it is empty.
void playOnly(DefaultsStore& defaults, const std::string& path);
// The same with the feed of the demonstration, which lies among the resources.
void playWithDemoFeed(const Surroundings& surroundings, const std::string& path);
// Whether a composition takes a feed is stored when it is first seen, and it is loaded anew then. What is played for
// one run alone would be first seen each time. Whenever one was loaded.
void knowFeedInput(const Surroundings& surroundings, const QCView& view);

} // namespace vitrel
