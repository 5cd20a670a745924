#pragma once

#include <QTimer>
#include <QWidget>

#include <functional>

namespace vitrel {

class PreviewLink;

// Shows the frames of a preview, 16:9 in the middle of its place, or says why there are none. It is never higher than
// its width asks for.
class PreviewWidget : public QWidget
{
public:
    explicit PreviewWidget(QWidget* parent = nullptr);
    ~PreviewWidget() override;

    // Not owned; null takes it away. From now on the link has the widget's size and is idle while it isn't seen.
    void setLink(PreviewLink* link);
    // What stands in place of a picture that failed, and beneath it in smaller letters.
    void setFailureText(const QString& text, const QString& advice);
    // The user asks a failed preview to try again.
    std::function<void()> onRetry;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QRect picture() const;
    bool failed() const;
    void sendSize();
    void sendShown();
    void linkDidChange();

    PreviewLink* link_ = nullptr;
    QString failureText_, failureAdvice_;
    QTimer sizeTimer_;
};

} // namespace vitrel
