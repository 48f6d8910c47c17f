// TableView: opening what the selected cells name: links, email addresses, web and map searches.

#include "view/tableview.h"

#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "util/urlutilities.h"

#include <QDesktopServices>

QStringList TableView::selectedTexts() const {
    QStringList texts;
    const TableModel* m = tableModel();
    if (!m)
        return texts;
    for (const auto& [row, col] : m->getSelectionIndexes()) {
        const QString text = m->data(m->index(row, col), Qt::EditRole).toString();
        if (!text.trimmed().isEmpty())
            texts.append(text);
    }
    return texts;
}

bool TableView::followSelectedHyperlinks() {
    const QList<QUrl> urls = Utilities::buildHyperlinkUrls(selectedTexts());
    for (const QUrl& url : urls)
        QDesktopServices::openUrl(url);
    return !urls.isEmpty();
}

bool TableView::emailSelectedAddresses() {
    const QUrl url = Utilities::buildEmailUrl(selectedTexts());
    if (url.isEmpty()) {
        MsgBox::inform(this, tr("No valid email addresses found."));
        return false;
    }
    QDesktopServices::openUrl(url);
    return true;
}

bool TableView::searchSelectedTexts(const QString& site) {
    const QStringList terms = selectedTexts();
    for (const QString& term : terms)
        QDesktopServices::openUrl(Utilities::buildSearchUrl(site, term));
    return !terms.isEmpty();
}

bool TableView::webSearchForSelectedTerms() {
    return searchSelectedTexts(settings.getValueString(SearchEngine));
}

bool TableView::webSearchForSelectedPlacesInMap() {
    return searchSelectedTexts(settings.getValueString(OnlineMap));
}
