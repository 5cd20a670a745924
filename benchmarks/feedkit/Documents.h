#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The documents that all parsers get.
namespace bench {

struct DocumentSet {
    std::string name;
    std::vector<std::string> documents;
    std::vector<std::string> files; // the same, for peers of another process

    std::size_t bytes() const
    {
        std::size_t sum = 0;
        for (const auto& document : documents)
            sum += document.size();
        return sum;
    }
};

inline constexpr int kItemsOf2MB = 1400;

// As news sites and blogs write them: escaped HTML, CDATA sections, texts of several lines.
inline std::string rssDocument(int items)
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rss version=\"2.0\">\n<channel>\n<title>News &amp; "
                      "more</title>\n"
                      "<link>https://example.org/</link>\n<description>What happened</description>\n";
    for (int k = 0; k < items; ++k) {
        const auto n = std::to_string(k);
        out += "<item>\n  <title>Story number " + n
            + ": what one should know</title>\n  <link>https://example.org/story/" + n
            + "</link>\n  <guid isPermaLink=\"false\">story-" + n
            + "</guid>\n  <pubDate>Mon, 02 Jan 2006 15:04:05 GMT</pubDate>\n  <category>news</category>\n"
              "  <dc:creator><![CDATA[A. Writer]]></dc:creator>\n  <description>";
        if (k % 2) {
            out += "<![CDATA[";
            for (int line = 0; line < 12; ++line)
                out += "<p>A paragraph of some words, one of many, with <b>marks</b> and\na line end in its "
                       "middle.</p>\n";
            out += "]]>";
        } else {
            for (int line = 0; line < 10; ++line)
                out += "&lt;p&gt;A paragraph of some words, one of many, and it isn&#8217;t the last\none of its "
                       "text.&lt;/p&gt;\n";
        }
        out += "</description>\n</item>\n";
    }
    return out + "</channel>\n</rss>\n";
}

// Some 200 kB in which every element and attribute has a field, and few have a text of more than a word: the most that
// a model can cost for its document.
inline std::string mediaDocument()
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<feed xmlns=\"http://www.w3.org/2005/Atom\">\n"
                      " <title>Films</title>\n <id>tag:example.org,2006:films</id>\n";
    for (int k = 0; k < 235; ++k) {
        const auto n = std::to_string(k);
        out += " <entry>\n  <id>tag:example.org,2006:film-" + n + "</id>\n  <title>Film number " + n
            + "</title>\n  <link rel=\"alternate\" href=\"https://example.org/watch?v=" + n
            + "\"/>\n  <author>\n   <name>A. Director</name>\n   <uri>https://example.org/director</uri>\n  </author>\n"
              "  <published>2006-01-02T15:04:05+00:00</published>\n  <updated>2006-01-02T16:04:05+00:00</updated>\n"
              "  <media:group>\n   <media:content url=\"https://example.org/v/"
            + n
            + "?version=3\" type=\"video/mp4\" width=\"640\" height=\"390\"/>\n   <media:credit role=\"director\">A. "
              "Director"
              "</media:credit>\n  </media:group>\n  <media:thumbnail url=\"https://example.org/vi/"
            + n
            + "/hq.jpg\" width=\"480\" height=\"360\"/>\n  <media:community>\n   <media:starRating count=\"12044\" "
              "average=\"4.91\" min=\"1\" max=\"5\"/>\n   <media:statistics views=\"812331\"/>\n  </media:community>\n"
              "  <content type=\"html\">A film of some length, told in a few words.</content>\n </entry>\n";
    }
    return out + "</feed>\n";
}

inline std::string contentsOf(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A real feed of films, its entries over and over until there are 200 kB.
inline std::string repeatedEntries(const std::string& document)
{
    const auto first = document.find("<entry>");
    const auto end = document.rfind("</entry>");
    if (first == document.npos || end == document.npos)
        return {};
    const auto entries = document.substr(first, end + 8 - first);
    auto out = document.substr(0, first);
    while (out.size() < 200'000)
        out += entries + "\n";
    return out + document.substr(end + 8);
}

// Fifty real feeds below 40 kB that `fits` takes, spread over the folder.
template <class Fits> std::vector<std::filesystem::path> smallFeeds(const std::filesystem::path& folder, Fits fits)
{
    std::vector<std::filesystem::path> files;
    if (!std::filesystem::exists(folder))
        return files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const auto& path = entry.path();
        if (entry.is_regular_file() && path.extension() == ".xml" && entry.file_size() < 40'000
            && fits(contentsOf(path)))
            files.push_back(path);
    }
    std::sort(files.begin(), files.end());
    std::vector<std::filesystem::path> some;
    for (std::size_t k = 0; k < 50 && files.size() >= 50; ++k)
        some.push_back(files[k * files.size() / 50]);
    return some;
}

template <class Fits>
std::vector<DocumentSet> documentSets(
    const std::filesystem::path& samples, const std::filesystem::path& folder, Fits fits)
{
    std::vector<DocumentSet> sets;
    const auto add = [&](const std::string& name, const std::string& document) {
        const auto file = folder / (name + ".xml");
        std::ofstream(file, std::ios::binary) << document;
        sets.push_back({name, {document}, {file.string()}});
    };
    add("rss_2MB", rssDocument(kItemsOf2MB));
    if (const auto films = repeatedEntries(contentsOf(samples / "feeds/feed-rs/atom_mediarss_youtube_1.xml"));
        !films.empty())
        add("atom_media_200kB", films);
    add("atom_media_dense_200kB", mediaDocument());
    DocumentSet real{"fifty_real_feeds", {}, {}};
    for (const auto& file : smallFeeds(samples / "feeds", fits)) {
        real.documents.push_back(contentsOf(file));
        real.files.push_back(file.string());
    }
    if (!real.documents.empty())
        sets.push_back(real);
    return sets;
}

} // namespace bench
