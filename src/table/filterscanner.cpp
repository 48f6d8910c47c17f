#include "table/filterscanner.h"

#include "storage/abstractdatacontainer.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"

#include <utility>

FilterScanner::FilterScanner(const TableModel& tableModel, const FilterData& filterData)
    : model(tableModel), data(tableModel.getTableData()), filter(filterData),
      container(data.getDataContainer()) {
    onCol = filter.range.type == RangeType::Col;
    line = onCol ? filter.range.col : filter.range.row;
    const EncodingType encoding = data.getEncoding();
    inPlaceReads = container && (encoding == UTF_8 || encoding == ISO_8859_1);
    transposed = data.isTransposed();
    physicalRows = data.numRawRows(true);
    physicalCols = data.numRawCols(true);
    if (filter.isRegex) {
        regexValid = filter.regex.isValid();
        if (regexValid) {
            prefilter = RegexPrefilter(filter.regex.pattern(), filter.caseSensitive);
            // Only whether it matches counts here, so groups needn't record where they matched;
            // a pattern that refers back to a numbered group needs them, and keeps them.
            QRegularExpression bare = filter.regex;
            bare.setPatternOptions(bare.patternOptions() | QRegularExpression::DontCaptureOption);
            if (bare.isValid()) {
                bare.optimize();
                regex = bare;
            } else {
                regex = filter.regex;
            }
        }
    }
}

bool FilterScanner::matchesAt(int raw) {
    int row = onCol ? raw : line;
    int col = onCol ? line : raw;
    if (transposed)
        std::swap(row, col);
    std::string_view view;
    if (inPlaceReads && row >= 0 && col >= 0 && row < physicalRows && col < physicalCols &&
        container->getValueView(row, col, view) && TableData::isAscii(view)) {
        if (filter.isRegex && regexValid) {
            const RegexPrefilter::Verdict verdict = prefilter.check(view);
            if (verdict != RegexPrefilter::Unknown)
                return verdict == RegexPrefilter::Yes;
        }
        const auto size = static_cast<qsizetype>(view.size());
        buffer.resize(size);
        QChar* out = buffer.data();
        for (qsizetype i = 0; i < size; ++i)
            out[i] =
                QChar(static_cast<char16_t>(static_cast<unsigned char>(view[static_cast<std::size_t>(i)])));
        return matchesText(buffer);
    }
    const QString text = data.getValueRaw(row, col, true).toString();
    if (filter.isRegex && regexValid) {
        const RegexPrefilter::Verdict verdict = prefilter.check(QStringView(text));
        if (verdict != RegexPrefilter::Unknown)
            return verdict == RegexPrefilter::Yes;
    }
    return matchesText(text);
}

bool FilterScanner::matchesText(const QString& text) const {
    if (!filter.isRegex)
        return model.filterMatch(filter, text);
    // A search, as filterMatch does; decoded cells are valid UTF-16, so no check per cell.
    return regexValid && regex
                             .match(text, 0, QRegularExpression::NormalMatch,
                                    QRegularExpression::DontCheckSubjectStringMatchOption)
                             .hasMatch();
}
