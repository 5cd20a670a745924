#include "programs/configure/PictureDrop.h"

#include "base/Text.h"
#include "platform/foundation/Files.h"

#include <QDragEnterEvent>
#include <QFileDialog>
#include <QKeyEvent>
#include <QMimeData>
#include <QPixmap>

namespace vitrel {

namespace {

constexpr std::size_t kLargest = 32u << 20; // of a file, which grows by a third on its way
constexpr int kSide = 96;

} // namespace

PictureDrop::PictureDrop(QWidget* parent)
    : QLabel(parent)
{
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(QFrame::StyledPanel);
    setAlignment(Qt::AlignCenter);
    setMinimumHeight(48);
    setCursor(Qt::PointingHandCursor);
    setText(tr("Drop a picture here"));
}

void PictureDrop::setPicture(const nlohmann::ordered_json& picture)
{
    const auto data = picture.is_object() ? picture.find("data") : picture.end();
    const auto bytes = picture.is_object() && data != picture.end() && data->is_string()
        ? decodeBase64(data->get<std::string>())
        : std::nullopt;
    QPixmap shown;
    if (bytes && shown.loadFromData(bytes->data(), uint(bytes->size())))
        setPixmap(shown.scaled(kSide, kSide, Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

void PictureDrop::take(const QString& path)
{
    const auto bytes = readFile(path.toStdString(), kLargest);
    if (!bytes)
        return;
    const nlohmann::ordered_json picture{{"data", encodeBase64(*bytes)}};
    setPicture(picture);
    if (onPicture)
        onPicture(picture);
}

void PictureDrop::choose()
{
    const QString path = QFileDialog::getOpenFileName(
        this, QString(), QString(), tr("Pictures") + QStringLiteral(" (*.png *.jpg *.jpeg *.gif *.webp *.tif *.tiff)"));
    if (!path.isEmpty())
        take(path);
}

void PictureDrop::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void PictureDrop::dropEvent(QDropEvent* event)
{
    const auto urls = event->mimeData()->urls();
    if (urls.isEmpty() || !urls.front().isLocalFile())
        return;
    // Who is told of a move deletes the file.
    event->setDropAction(Qt::CopyAction);
    event->accept();
    take(urls.front().toLocalFile());
}

void PictureDrop::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        choose();
}

void PictureDrop::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Return)
        choose();
    else
        QLabel::keyPressEvent(event);
}

} // namespace vitrel
