#include "util/statisticsutilities.h"

#include "util/datetimeutilities.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {

// Every format the detector knows is short and has digits: a cheap test first spares long texts
// and plain words its work, which counts on columns of a million cells.
bool mayBeDate(const QString& text) {
    if (text.size() > 40)
        return false;
    return std::any_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
}

} // namespace

namespace Utilities {

double computeSum(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double v : values)
        sum += v;
    return sum;
}

double computeVariance(const std::vector<double>& values, double mean) {
    if (values.empty())
        return 0.0;
    double squares = 0.0;
    for (const double v : values)
        squares += (v - mean) * (v - mean);
    return squares / double(values.size());
}

double computePercentile(const std::vector<double>& values, double percentile) {
    const std::size_t n = values.size();
    if (n == 0)
        return 0.0;
    if (n == 1)
        return values.front();
    const double position = percentile / 100.0 * double(n - 1);
    const double whole = std::floor(position);
    const double fraction = position - whole;
    const std::size_t i = whole < 0 ? 0 : std::size_t(whole);
    if (i + 1 >= n)
        return values.back();
    if (std::fabs(fraction) < 1e-9)
        return values[i];
    if (std::fabs(fraction - 1.0) < 1e-9)
        return values[i + 1];
    // Equal neighbours give their value exactly, free of rounding in the interpolation.
    if (values[i] == values[i + 1])
        return values[i];
    return values[i] + fraction * (values[i + 1] - values[i]);
}

void setDataType(int& mask, const QString& text) {
    static const QRegularExpression isoDateTime(
        QStringLiteral(R"(\d{4}-(1[0-2]|0\d)-([0-2]\d|3[0-1])(T|\s)([0-1]\d|2[0-3]):[0-5]\d:[0-5]\dZ?)"),
        QRegularExpression::CaseInsensitiveOption);
    bool number = false;
    text.toDouble(&number);
    if (number)
        mask |= DataTypeNumeric;
    else if (isoDateTime.match(text).hasMatch() || (mayBeDate(text) && !dateTimeFormatDetect(text).isEmpty()))
        mask |= DataTypeDate;
    else
        mask |= DataTypeString;
}

QString convertDataTypeToString(int mask) {
    QStringList names;
    if (mask & DataTypeNumeric)
        names.append(QStringLiteral("Numeric"));
    if (mask & DataTypeDate)
        names.append(QStringLiteral("Date"));
    if (mask & DataTypeString)
        names.append(QStringLiteral("String"));
    return names.isEmpty() ? QStringLiteral("-") : names.join(QStringLiteral(", "));
}

} // namespace Utilities
