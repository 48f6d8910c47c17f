#include "util/fileoptionutilities.h"

#include "preferences/settingutilities.h"
#include "util/fileparameterutilities.h"

#include <QFileInfo>

#include <array>

namespace Utilities {

namespace {

// Case, blanks, hyphens and underscores aside: "utf-8", "UTF 8" and "Utf_8" are one name.
QString looseKey(const QString& text) {
    QString key;
    key.reserve(text.size());
    for (const QChar c : text) {
        if (c != u' ' && c != u'-' && c != u'_')
            key += c.toLower();
    }
    return key;
}

template <typename T>
bool findChoice(const std::vector<NamedChoice>& choices, const QString& text, T& out,
                T (*convert)(const QString&), T invalid) {
    const QString key = looseKey(text);
    if (key.isEmpty())
        return false;
    for (const NamedChoice& choice : choices) {
        if (looseKey(choice.name) == key || looseKey(choice.response) == key) {
            out = convert(choice.response);
            return out != invalid;
        }
    }
    const T value = convert(text);
    if (value == invalid)
        return false;
    out = value;
    return true;
}

} // namespace

std::vector<NamedChoice> getDelimiterChoices() {
    return {{QStringLiteral("Comma (,)"), QStringLiteral(",")},
            {QStringLiteral("Tab"), QStringLiteral("\t")},
            {QStringLiteral("Semicolon (;)"), QStringLiteral(";")},
            {QStringLiteral("Pipe (|)"), QStringLiteral("|")},
            {QStringLiteral("Space"), QStringLiteral(" ")},
            {QStringLiteral("Caret (^)"), QStringLiteral("^")},
            {QStringLiteral("Colon (:)"), QStringLiteral(":")},
            {QStringLiteral("Unit Separator"), QString(QChar::fromLatin1(KeyChars::UnitSeparator))}};
}

std::vector<NamedChoice> getEncodingChoices() {
    std::vector<NamedChoice> choices;
    for (int e = 0; e < kNumEncodingTypes; ++e) {
        // A width without its byte order is no choice to write with; the guessed forms are the
        // opener's.
        if (e == UTF_16 || e == UTF_32 || e == UTF_16_GUESSED_BE || e == UTF_16_GUESSED_LE ||
            e == UTF_32_GUESSED_BE || e == UTF_32_GUESSED_LE)
            continue;
        const QString name = convertEncodingTypeToString(EncodingType(e));
        choices.push_back({name, name});
    }
    return choices;
}

std::vector<NamedChoice> getLineEndingChoices() {
    return {{QStringLiteral("Mac/Linux (LF)"), QStringLiteral("Unix")},
            {QStringLiteral("Windows (CR LF)"), QStringLiteral("Windows")},
            {QStringLiteral("Record Separator"), QStringLiteral("Record Separator")}};
}

std::vector<NamedChoice> getParsingStandardChoices() {
    std::vector<NamedChoice> choices;
    for (int s = RFC_4180; s <= ASCII_SEPARATED_VALUES; ++s) {
        const QString name = convertParsingStandardToString(ParsingStandard(s));
        choices.push_back({name, name});
    }
    return choices;
}

std::vector<NamedChoice> getRefreshBehaviorChoices() {
    std::vector<NamedChoice> choices;
    for (const RefreshBehavior b : {RefreshBehaviorRefresh, RefreshBehaviorAsk, RefreshBehaviorIgnore})
        choices.push_back(
            {convertRefreshBehaviorTypeToString(b, false), convertRefreshBehaviorTypeToString(b)});
    return choices;
}

bool parseDelimiterAnswer(const QString& text, QString& delimiter) {
    // A lone blank or tab is an answer in itself; anything longer is read trimmed.
    QString body = text;
    if (body.size() != 1)
        body = body.trimmed();
    if (body.isEmpty())
        return false;
    const QString key = looseKey(body);
    for (const NamedChoice& choice : getDelimiterChoices()) {
        if (body == choice.response || looseKey(choice.name) == key ||
            looseKey(choice.name.section(u' ', 0, 0)) == key) {
            delimiter = choice.response;
            return true;
        }
    }
    if (key == u"\\t" || key == u"\\s" || key == u"tab" || key == u"space") {
        delimiter = convertDelimiterFromShortReadableToActual(key);
        return true;
    }
    if (body.size() != 1)
        return false;
    const QChar c = body.at(0);
    // A quote or a line break can't separate fields that may be quoted or span lines.
    if (c == u'"' || c == u'\n' || c == u'\r' || c.unicode() > 0x7f)
        return false;
    delimiter = body;
    return true;
}

bool parseEncodingAnswer(const QString& text, EncodingType& encoding) {
    const QString key = looseKey(text);
    if (key.isEmpty())
        return false;
    EncodingType found = convertEncodingStringToType(text);
    // Unknown text reads as UTF-8 there; here only a name that says so does.
    if (found == UTF_8 && !key.contains(QLatin1String("utf8")))
        return false;
    if (found == UTF_16 || found == UTF_16_GUESSED_LE)
        found = UTF_16LE;
    else if (found == UTF_16_GUESSED_BE)
        found = UTF_16BE;
    else if (found == UTF_32 || found == UTF_32_GUESSED_LE)
        found = UTF_32LE;
    else if (found == UTF_32_GUESSED_BE)
        found = UTF_32BE;
    encoding = found;
    return true;
}

bool parseLineEndingAnswer(const QString& text, LineEndingType& lineEnding) {
    // The names the settings file knows, but nothing else: an unknown word is no answer here.
    const QString key = looseKey(text);
    static const std::array<std::pair<const char*, LineEndingType>, 7> words{{
        {"windows", LINE_ENDING_WINDOWS},
        {"crlf", LINE_ENDING_WINDOWS},
        {"unix", LINE_ENDING_UNIX},
        {"mac", LINE_ENDING_UNIX},
        {"linux", LINE_ENDING_UNIX},
        {"lf", LINE_ENDING_UNIX},
        {"record", LINE_ENDING_RECORD_SEPARATOR},
    }};
    for (const auto& [word, type] : words) {
        if (key.contains(QLatin1String(word))) {
            lineEnding = type;
            return true;
        }
    }
    return false;
}

bool parseParsingStandardAnswer(const QString& text, ParsingStandard& standard) {
    return findChoice<ParsingStandard>(getParsingStandardChoices(), text, standard,
                                       &convertParsingStringToStandard, UNKNOWN_STANDARD);
}

bool parseRefreshBehaviorAnswer(const QString& text, RefreshBehavior& behavior) {
    return findChoice<RefreshBehavior>(
        getRefreshBehaviorChoices(), text, behavior,
        [](const QString& t) { return convertRefreshBehaviorStringToType(t.trimmed().toLower()); },
        RefreshBehaviorInvalid);
}

QString makeDuplicateFileName(const QString& fileName) {
    const QFileInfo info(fileName);
    const QString base = info.completeBaseName();
    const QString suffix = info.suffix();
    if (base.isEmpty())
        return fileName + QStringLiteral(" Duplicate");
    if (suffix.isEmpty())
        return base + QStringLiteral(" Duplicate");
    return QStringLiteral("%1 %2.%3").arg(base, QStringLiteral("Duplicate"), suffix);
}

bool fileNameValid(const QString& name) {
    return !name.isEmpty() && name != u"." && name != u".." && !name.contains(u'/') &&
           !name.contains(QChar(0));
}

} // namespace Utilities
