#include "view/tabledelegate.h"

#include "view/quickedit.h"

#include <QAbstractItemView>
#include <QFocusEvent>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>

#include <limits>

TableDelegate::TableDelegate(QObject* parent) : QStyledItemDelegate(parent) {}

const QFontMetricsF& TableDelegate::metricsFor(const QFont& font) const {
    if (!metrics || !(metricsFont == font)) {
        metricsFont = font;
        metrics.emplace(font);
    }
    return *metrics;
}

void TableDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const {
    const QAbstractItemModel* model = index.model();
    if (!model)
        return;
    const QVariant background = model->data(index, Qt::BackgroundRole);
    if (background.canConvert<QBrush>()) {
        const QBrush brush = background.value<QBrush>();
        if (brush.style() != Qt::NoBrush)
            painter->fillRect(option.rect, brush);
    }
    QString text = model->data(index, Qt::DisplayRole).toString();
    if (text.isEmpty())
        return;
    const QVariant fontValue = model->data(index, Qt::FontRole);
    const QFont font = fontValue.isValid() ? fontValue.value<QFont>() : option.font;
    const QVariant foreground = model->data(index, Qt::ForegroundRole);
    const QColor color =
        foreground.canConvert<QBrush>() ? foreground.value<QBrush>().color() : theme.TextColor;

    const QRectF textRect = QRectF(option.rect).adjusted(textInset, 0, -textInset, 0);
    if (textRect.width() <= 0)
        return;
    const QFontMetricsF& fm = metricsFor(font);
    // A row tall enough for more than one line shows the text wrapped, as auto-fit sized it.
    if (option.rect.height() >= 2 * fm.lineSpacing() + 3) {
        painter->setFont(font);
        painter->setPen(color);
        painter->drawText(textRect, Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignVCenter, text);
        return;
    }
    text = shownLine(text);
    // Shaping is the cost of a cell: a text that surely fits is drawn at once, a long one is
    // measured, and only one that overflows is elided.
    if (fm.maxWidth() * static_cast<qreal>(text.size()) > textRect.width() &&
        fm.horizontalAdvance(text) > textRect.width())
        text = fm.elidedText(text, Qt::ElideRight, textRect.width());
    const qreal baseline =
        textRect.top() + (textRect.height() - fm.ascent() - fm.descent()) / 2 + fm.ascent();
    painter->setFont(font);
    painter->setPen(color);
    painter->drawText(QPointF(textRect.left(), baseline), text);
}

QString TableDelegate::shownLine(const QString& text) {
    const qsizetype lineEnd = text.indexOf(QLatin1Char('\n'));
    const qsizetype crEnd = text.indexOf(QLatin1Char('\r'));
    const qsizetype end = lineEnd < 0 ? crEnd : (crEnd < 0 ? lineEnd : std::min(lineEnd, crEnd));
    if (end < 0)
        return text;
    // The ellipsis tells that the cell holds more lines than the one shown.
    return text.left(end) + QChar(0x2026);
}

QSize TableDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const QAbstractItemModel* model = index.model();
    if (!model)
        return QSize();
    const QVariant fontValue = model->data(index, Qt::FontRole);
    const QFont font = fontValue.isValid() ? fontValue.value<QFont>() : option.font;
    const QFontMetrics metrics(font);
    const QRect bounds = metrics.boundingRect(QRect(0, 0, 100000, 100000), Qt::AlignLeft | Qt::AlignTop,
                                              model->data(index, Qt::DisplayRole).toString());
    return QSize(bounds.width() + 2 * textInset + 2, bounds.height() + 4);
}

// --- Editor -------------------------------------------------------------------------------

QWidget* TableDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                     const QModelIndex& index) const {
    auto* quickEdit = new QuickEdit(parent);
    // A typed or pasted text is not cut at QLineEdit's default limit.
    quickEdit->setMaxLength(std::numeric_limits<int>::max());
    quickEdit->setEditorColors(editorBackground, editorText);
    // QLineEdit keeps 2 pixels of its own: the text starts where the cell's text does.
    quickEdit->setTextMargins(textInset - 2, 0, textInset - 2, 0);
    QFont font = hasEditorFont ? editorFont : option.font;
    const bool headerRow = highlightHeaderRows && index.row() < numHeaderRows;
    const bool headerCol = highlightHeaderCols && index.column() < numHeaderCols;
    if (headerRow || headerCol)
        font.setWeight(QFont::Bold);
    quickEdit->setFont(font);
    quickEdit->setProperty("orvaneEditorFilled", false);
    auto* self = const_cast<TableDelegate*>(this);
    connect(quickEdit, &QLineEdit::textEdited, self, &TableDelegate::onTextEdited);
    editor = quickEdit;
    emit self->editorCreatedSignal();
    return quickEdit;
}

void TableDelegate::setEditorData(QWidget* widget, const QModelIndex& index) const {
    auto* quickEdit = qobject_cast<QuickEdit*>(widget);
    if (!quickEdit)
        return;
    // Qt calls this again whenever the cell changes; while the edit runs the editor owns the
    // text, and the view writes it into the model at every key.
    if (quickEdit->property("orvaneEditorFilled").toBool())
        return;
    quickEdit->setProperty("orvaneEditorFilled", true);
    QString text;
    if (startEmpty)
        startEmpty = false;
    else if (index.model())
        text = index.model()->data(index, Qt::EditRole).toString();
    quickEdit->setText(text);
    if (!textEditedMuted)
        emit const_cast<TableDelegate*>(this)->textEditedSignal(text);
}

QuickEdit* TableDelegate::getEditor() const {
    return editor.data();
}

void TableDelegate::setModelData(QWidget*, QAbstractItemModel*, const QModelIndex&) const {}

void TableDelegate::updateEditorGeometry(QWidget* widget, const QStyleOptionViewItem& option,
                                         const QModelIndex&) const {
    widget->setGeometry(option.rect);
}

void TableDelegate::setTextSize(int size) {
    if (size <= 0)
        return;
    editorFont.setPointSize(size);
    hasEditorFont = true;
}

void TableDelegate::commitAndCloseEditor() {
    emit stopEditingSignal();
}

void TableDelegate::onTextEdited(const QString& text) {
    if (!textEditedMuted)
        emit textEditedSignal(text);
}

bool TableDelegate::eventFilter(QObject* watched, QEvent* event) {
    auto* quickEdit = qobject_cast<QuickEdit*>(watched);
    if (!quickEdit)
        return QStyledItemDelegate::eventFilter(watched, event);
    if (event->type() == QEvent::KeyPress) {
        auto* keyEvent = static_cast<QKeyEvent*>(event);
        const Qt::KeyboardModifiers mods = keyEvent->modifiers();
        switch (keyEvent->key()) {
        case Qt::Key_Tab:
            if (mods != Qt::NoModifier)
                return false;
            emit stopEditingSignal();
            emit nextColumnWithColumnResetSignal();
            return true;
        case Qt::Key_Return:
            if (mods != Qt::NoModifier)
                return false;
            emit stopEditingSignal();
            emit nextRowWithColumnResetSignal();
            return true;
        case Qt::Key_Enter:
            emit stopEditingSignal();
            emit nextRowWithColumnResetSignal();
            return true;
        case Qt::Key_Backtab:
            emit stopEditingSignal();
            emit previousColumnWithColumnResetSignal();
            return true;
        case Qt::Key_Escape:
            // Escape keeps what was typed: the only way back is undo.
            emit stopEditingSignal();
            return true;
        default:
            return false;
        }
    }
    if (event->type() == QEvent::FocusOut) {
        // Focus that leaves for good ends the edit; a menu or another window only borrows it.
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason && quickEdit->isVisible())
            emit stopEditingSignal();
        return false;
    }
    // Qt's own handling would commit through setModelData and close the editor itself.
    return false;
}
