#pragma once
#include <QLabel>

#include <optional>

// A caption. An auto-sized label fits its caption whenever it changes; a fixed label keeps
// the size it was given, its caption set up to 15% tighter where it would not fit, and past
// that cut at its end, with the whole caption in its tooltip. A caption is shown as
// oneLineText() gives it: it may hold a name from outside.
class Label final : public QLabel {
    Q_OBJECT
public:
    Label(bool autoSize, QWidget* parent);

    void setCaption(const QString& caption);
    QString caption() const { return text(); }
    bool isAutoSize() const { return m_autoSize; }
    // The size an auto-sized label takes for `caption` in its font.
    QSize fittedSize(const QString& caption) const;
    // True when the caption is wider than the label, so that it shows cut.
    bool isCut() const;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    static constexpr double kTightestSpacing = 85;
    bool m_autoSize;
    std::optional<QFont> m_naturalFont;   // a fixed label's font before any tightening
};
