// The settings window with a long list, as a list and as a grid: how long it takes to open, to scroll, to filter at a
// keystroke, to take in many files. Shown on a platform without a screen; the preview and the thumbnails are stand-ins.
#include "configure/Sheet.h"

#include <QApplication>
#include <QScrollBar>

#include <chrono>
#include <cstdio>

namespace {

using namespace vitrel;

using Point = std::chrono::steady_clock::time_point;

double millisecondsOf(const std::function<void()>& act, Point start = std::chrono::steady_clock::now())
{
    act();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

bool report(const char* what, double milliseconds, double bar)
{
    std::printf("%-40s %8.1f ms  (bar %.0f ms)%s\n", what, milliseconds, bar, milliseconds < bar ? "" : "  MISSED");
    return milliseconds < bar;
}

// Everything that it leads to is done and painted.
void settle(Sheet& in)
{
    in.settle();
    in.window->grab();
}

// Through the whole of it, with a picture in each place.
double worstStepOfScrolling(Sheet& in, const std::vector<std::string>& paths)
{
    const auto picture = std::make_shared<Bitmap>(Bitmap{Thumbnails::kWidth, Thumbnails::kHeight,
        std::vector<std::uint32_t>(std::size_t(Thumbnails::kWidth) * Thumbnails::kHeight, 0xFF336699)});
    for (const auto& path : paths)
        StandInThumbnails::last->pictures[path] = picture;
    constexpr int kSteps = 200;
    QScrollBar& bar = *in.list().verticalScrollBar();
    double worst = 0;
    for (int step = 0; step <= kSteps; ++step) {
        worst = std::max(worst, millisecondsOf([&] {
            bar.setValue(bar.maximum() / kSteps * step);
            in.list().viewport()->grab();
        }));
    }
    return worst;
}

bool measure(const char* view)
{
    std::printf("as a %s\n", view);
    std::vector<std::string> paths;
    for (int k = 0; k < 10000; ++k)
        paths.push_back("/home/user/Pictures/Screensavers/Composition number " + std::to_string(k) + ".qtz");
    Point stored;
    Sheet in(paths, paths[5000], [&](Sheet& sheet) {
        sheet.disk.setValueForKey(Sheet::kDomain, "Settings View", view);
        stored = std::chrono::steady_clock::now();
    });
    const double opening = millisecondsOf([&] { settle(in); }, stored);
    bool good = report("opening, 10,000 entries", opening, 500);
    good &= report("a step of scrolling, the worst", worstStepOfScrolling(in, paths), 50);
    double worst = 0;
    const char* const word = "number 77";
    for (const char* letter = word; *letter; ++letter) {
        worst = std::max(worst, millisecondsOf([&] {
            QTest::keyClick(&in.search(), *letter);
            settle(in);
        }));
    }
    good &= report("a keystroke in the filter, the worst", worst, 50);
    if (in.list().model()->rowCount() != 111) {
        std::printf("the filter shows %d rows instead of 111\n", in.list().model()->rowCount());
        return false;
    }
    good &= report("clearing the filter", millisecondsOf([&] {
        in.search().clear();
        settle(in);
    }),
        50);
    good &= report("choosing another row", millisecondsOf([&] {
        QTest::mouseClick(in.list().viewport(), Qt::LeftButton, {}, QPoint(50, 50));
        settle(in);
    }),
        200);
    std::string options;
    for (int k = 0; k < 60; ++k)
        options += std::string(k ? "," : "") + R"({"key":"Key)" + std::to_string(k) + R"(","type":")"
            + (k % 3        ? "number"
                    : k % 2 ? "color"
                            : "string")
            + R"(","least":0,"most":5,"title":"Option","value":1})";
    good &= report("60 options, from the preview's answer", millisecondsOf([&] {
        const std::string active = in.controller->filePathActive().value_or("");
        in.preview.onWords(R"({"file":")" + active + R"(","inputs":[)" + options + "]}");
        settle(in);
    }),
        50);
    std::vector<std::string> added;
    for (int k = 0; k < 1000; ++k)
        added.push_back(in.folder.write("added/" + std::to_string(k) + ".qtz", "x"));
    good &= report("adding 1,000 files", millisecondsOf([&] {
        in.window->openFiles(added);
        settle(in);
    }),
        1000);
    return good && in.list().model()->rowCount() == 11000;
}

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication application(argc, argv);
    const bool asList = measure("list"), asGrid = measure("grid");
    return asList && asGrid ? 0 : 1;
}
