// Feeds of all formats as one view, and the list that the tool makes of them.
#include "FeedKit/entries/Entries.h"
#include "FeedKit/Read.h"
#include "base/Text.h"

#include <cstdint>
#include <cstdlib>

namespace {

using namespace FeedKit;

std::size_t bytes = 0;

void look(const std::string& text)
{
    if (vitrel::repairedUtf8(text) != text)
        std::abort();
    bytes += text.size();
}
void look(const Date&) { }
void look(double) { }
template <Model T> void look(const T& model);
template <class T> void look(const std::optional<T>& value)
{
    if (value)
        look(*value);
}
template <class T> void look(const std::vector<T>& values)
{
    for (const auto& value : values)
        look(value);
}
template <Model T> void look(const T& model)
{
    forEachField<T>([&](const auto& field) { look(model.*field.member); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ReadOptions options;
    options.extent = size % 2 == 0 ? Extent::more : Extent::model;
    const auto reading = read(ByteView(data, size), options);
    if (!reading)
        return 0;
    const auto view = entriesOf(reading->feed, URL("http://example.org/a/b"));
    bytes = 0;
    for (const auto& entry : view.entries) {
        if (!entry.id || entry.id->empty() || (entry.audio && !entry.audio->url))
            std::abort();
        look(entry);
    }
    look(view.title);
    look(view.link);
    look(view.description);
    look(view.authors);
    // Texts as text and as HTML, of which a byte becomes at most six; entities make ten of a document's bytes, and an
    // address grows by the base.
    if (bytes > 200 * size + 4096)
        std::abort();
    return 0;
}
