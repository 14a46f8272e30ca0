#pragma once
#include <QLabel>

// A caption. An auto-sized label fits its caption whenever it changes; a fixed
// label keeps the size it was given.
class Label final : public QLabel {
    Q_OBJECT
public:
    Label(bool autoSize, QWidget* parent);

    void setCaption(const QString& caption);
    QString caption() const { return text(); }
    bool isAutoSize() const { return m_autoSize; }
    // The size an auto-sized label takes for `caption` in its font.
    QSize fittedSize(const QString& caption) const;

private:
    bool m_autoSize;
};
