#include "programs/configure/PreviewWidget.h"
#include "configure/StandIns.h"
#include "support/ManualLoop.h"

#include <gmock/gmock.h>

#include <QImage>
#include <QTest>

namespace vitrel {
namespace {

struct Preview : ManualLoop {
    PreviewLink link{loop, ""};
    PreviewWidget widget;
    int retries = 0;

    Preview(int width, int height)
    {
        widget.setFailureText(QStringLiteral("Failed"), QStringLiteral("Try again"));
        widget.onRetry = [this] { ++retries; };
        widget.resize(width, height);
        widget.setLink(&link);
    }
    ~Preview() { widget.setLink(nullptr); }
    static StandInPreview& child() { return *StandInPreview::last; }
    QImage picture() { return widget.grab().toImage(); }
};

// Swapped colours, a shifted or stretched picture, a frame read beyond its rows.
TEST(PreviewWidget, PaintsTheFrameInTheMiddleOfItsPlaceAsItIs)
{
    Preview in(400, 180);
    in.widget.show();
    EXPECT_EQ(in.child().width, 320);
    EXPECT_EQ(in.child().height, 180);
    in.child().state = PreviewLink::State::playing;
    in.child().frameWidth = 320;
    in.child().pixels.assign(320 * 180, 0xFF102030);
    for (int row = 0; row < 180; ++row)
        in.child().pixels[std::size_t(row) * 320] = 0xFFFF8000; // the left edge
    in.link.onChange();
    const QImage picture = in.picture();
    EXPECT_EQ(picture.pixel(40, 90), 0xFFFF8000u) << "the left edge";
    EXPECT_EQ(picture.pixel(41, 0), 0xFF102030u) << "beside it";
    EXPECT_EQ(picture.pixel(359, 179), 0xFF102030u) << "the last pixel";
    EXPECT_EQ(picture.pixelColor(39, 90), in.widget.palette().color(QPalette::Window)) << "outside";
    EXPECT_EQ(picture.pixelColor(360, 90), in.widget.palette().color(QPalette::Window)) << "outside";
    // A frame of the size before.
    in.child().frameWidth = 160;
    in.child().pixels.assign(160 * 90, 0xFF00FF00);
    EXPECT_EQ(in.picture().pixel(359, 179), 0xFF00FF00u) << "it is stretched";
}

TEST(PreviewWidget, IsNeverHigherThanItsWidthAsksFor)
{
    Preview in(320, 600);
    in.widget.show();
    EXPECT_EQ(in.widget.maximumHeight(), 180);
    in.widget.resize(640, 100);
    EXPECT_EQ(in.widget.maximumHeight(), 360);
    QTest::qWait(150);
    EXPECT_EQ(in.child().height, 100) << "told once the resizing rests";
    EXPECT_EQ(in.child().width, 177);
}

TEST(PreviewWidget, IsIdleWhileItIsNotSeen)
{
    Preview in(320, 180);
    EXPECT_FALSE(in.child().shown);
    in.widget.show();
    EXPECT_TRUE(in.child().shown);
    in.widget.showMinimized();
    QCoreApplication::processEvents();
    EXPECT_FALSE(in.child().shown);
    in.widget.showNormal();
    QCoreApplication::processEvents();
    EXPECT_TRUE(in.child().shown);
    in.widget.hide();
    EXPECT_FALSE(in.child().shown);
}

TEST(PreviewWidget, SaysThatItFailedInPlaceOfAnOldFrameAndTriesAgainWhenClicked)
{
    Preview in(320, 180);
    in.widget.show();
    const QImage before = in.picture();
    QTest::mouseClick(&in.widget, Qt::LeftButton);
    EXPECT_EQ(in.retries, 0) << "a picture is no button";
    in.child().frameWidth = 320;
    in.child().pixels.assign(320 * 180, 0xFFFF0000);
    in.child().state = PreviewLink::State::failed;
    in.link.onChange();
    const QImage after = in.picture();
    EXPECT_NE(after.pixel(5, 5), 0xFFFF0000u) << "what crashed isn't shown as if it were alive";
    EXPECT_NE(after, before) << "a text";
    QTest::mouseClick(&in.widget, Qt::LeftButton);
    EXPECT_EQ(in.retries, 1);
}

} // namespace
} // namespace vitrel
