#include "programs/configure/PreviewWidget.h"

#include "programs/preview/PreviewLink.h"

#include <QImage>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

// The largest that a link takes.
constexpr int kMostPixels = 4096;

// A window that is being resized asks for a new size at each step; the child gets one when it pauses, and the frames
// of the last size are stretched until then.
constexpr int kSizePause = 80; // milliseconds

} // namespace

PreviewWidget::PreviewWidget(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    sizeTimer_.setSingleShot(true);
    sizeTimer_.setInterval(kSizePause);
    sizeTimer_.callOnTimeout(this, [this] { sendSize(); });
}

PreviewWidget::~PreviewWidget()
{
    setLink(nullptr);
}

void PreviewWidget::setLink(PreviewLink* link)
{
    if (link_)
        link_->onChange = nullptr;
    link_ = link;
    if (!link_)
        return;
    link_->onChange = [this] { linkDidChange(); };
    sendSize();
    sendShown();
    linkDidChange();
}

void PreviewWidget::setFailureText(const QString& text, const QString& advice)
{
    failureText_ = text;
    failureAdvice_ = advice;
    update();
}

QSize PreviewWidget::sizeHint() const
{
    return {448, 252};
}

bool PreviewWidget::failed() const
{
    return link_ && link_->state() == PreviewLink::State::failed;
}

QRect PreviewWidget::picture() const
{
    const int width = std::max(1, std::min(this->width(), height() * 16 / 9));
    const int height = std::max(1, std::min(this->height(), (width * 9 + 8) / 16));
    return {(this->width() - width) / 2, (this->height() - height) / 2, width, height};
}

void PreviewWidget::linkDidChange()
{
    setCursor(failed() && onRetry ? Qt::PointingHandCursor : Qt::ArrowCursor);
    update();
}

void PreviewWidget::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QRect place = picture();
    if (place != rect())
        painter.fillRect(rect(), palette().window());
    const PreviewFrame frame = link_ && !failed() ? link_->frame() : PreviewFrame();
    if (frame.pixels) {
        const QImage image(reinterpret_cast<const uchar*>(frame.pixels), frame.width, frame.height,
            qsizetype(frame.wordsPerRow * sizeof(std::uint32_t)), QImage::Format_RGB32);
        const QSizeF pixels = QSizeF(place.size()) * devicePixelRatioF();
        painter.setRenderHint(QPainter::SmoothPixmapTransform,
            std::abs(pixels.width() - frame.width) >= 1 || std::abs(pixels.height() - frame.height) >= 1);
        painter.drawImage(place, image);
        return;
    }
    if (!failed())
        return painter.fillRect(place, palette().color(QPalette::Shadow));
    painter.fillRect(place, palette().color(QPalette::Base));
    painter.setPen(palette().color(QPalette::Text));
    const QRect text = place.adjusted(12, 8, -12, -8);
    QRect advice = painter.boundingRect(text, Qt::AlignCenter | Qt::TextWordWrap, failureAdvice_);
    const QRect title = painter.boundingRect(text, Qt::AlignCenter | Qt::TextWordWrap, failureText_);
    const int gap = fontMetrics().height() / 3;
    const int top = text.top() + std::max(0, (text.height() - title.height() - gap - advice.height()) / 2);
    painter.drawText(
        QRect(text.left(), top, text.width(), title.height()), Qt::AlignCenter | Qt::TextWordWrap, failureText_);
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(QRect(text.left(), top + title.height() + gap, text.width(), advice.height()),
        Qt::AlignCenter | Qt::TextWordWrap, failureAdvice_);
}

void PreviewWidget::resizeEvent(QResizeEvent*)
{
    setMaximumHeight(std::max(minimumHeight(), (width() * 9 + 8) / 16));
    sizeTimer_.start();
}

void PreviewWidget::sendSize()
{
    sizeTimer_.stop();
    if (!link_)
        return;
    const QSizeF pixels = QSizeF(picture().size()) * devicePixelRatioF();
    link_->resize(std::clamp(int(std::lround(pixels.width())), 1, kMostPixels),
        std::clamp(int(std::lround(pixels.height())), 1, kMostPixels));
}

void PreviewWidget::sendShown()
{
    if (link_)
        link_->setShown(isVisible() && !window()->isMinimized());
}

void PreviewWidget::showEvent(QShowEvent*)
{
    window()->installEventFilter(this);
    sendSize();
    sendShown();
}

void PreviewWidget::hideEvent(QHideEvent*)
{
    sendShown();
}

void PreviewWidget::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange)
        update();
}

void PreviewWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && failed() && onRetry && picture().contains(event->position().toPoint()))
        onRetry();
}

bool PreviewWidget::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::WindowStateChange)
        sendShown();
    else if (event->type() == QEvent::ScreenChangeInternal)
        sizeTimer_.start();
    return QWidget::eventFilter(watched, event);
}

} // namespace vitrel
