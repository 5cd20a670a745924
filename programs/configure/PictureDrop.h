#pragma once

#include <nlohmann/json.hpp>

#include <QLabel>

#include <functional>

namespace vitrel {

// A place to drop a picture on, or to choose one by a click. The picture goes on as {"data": base64}.
class PictureDrop : public QLabel
{
public:
    explicit PictureDrop(QWidget* parent = nullptr);
    void setPicture(const nlohmann::ordered_json& picture);

    std::function<void(const nlohmann::ordered_json& picture)> onPicture;

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void choose();
    void take(const QString& path);
};

} // namespace vitrel
