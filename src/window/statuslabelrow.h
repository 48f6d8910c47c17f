#pragma once

#include <QLabel>
#include <QWidget>

#include <functional>
#include <vector>

// The labels of the status bar in one row: some from the left edge, some against the right. When
// the row is narrower than all the labels, the least important give way first: the ones that keep
// nothing vanish, the gaps narrow, then labels elide (showing their whole text as a tooltip) and,
// with too little room for any text, vanish. The labels keep their whole text in text(); only the
// painting is cut.
class StatusLabelRow : public QWidget {
    Q_OBJECT
public:
    enum class Side { Left, Right };
    // How much of a label's text must stay before a label of higher rank gives way: the part
    // before the index `keepUntil` returns, all of it, or (0) none: such a label then goes whole.
    using KeepUntil = std::function<qsizetype(const QString&)>;

    explicit StatusLabelRow(QWidget* parent = nullptr);

    // Labels stand left to right in the order added, the Left ones from the left edge, the Right
    // ones against the right edge. A lower `rank` gives way first; ties go by the order added.
    // Without `keepUntil` a label keeps all its text until every label has given what it may.
    QLabel* addLabel(Side side, int rank, const KeepUntil& keepUntil = {});

    // True if the label shows its whole text (it may be empty).
    bool showsWholeText(const QLabel* label) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Entry {
        QLabel* label;
        Side side;
        int rank;
        KeepUntil keepUntil;
    };
    std::vector<Entry> entries;
    void place();
    // The gap before each label but the first, and after the last on the right.
    static constexpr int wideGap = 30;
    static constexpr int narrowGap = 12;
};
