#include "storage/abstractdatacontainer.h"

#include "storage/piecereader.h"

#include <QMutex>
#include <QWaitCondition>

#include <algorithm>
#include <cstring>

AbstractDataContainer::AbstractDataContainer(QObject* parent) : QObject(parent) {}

AbstractDataContainer::~AbstractDataContainer() = default;

// --- Defaults: a container that can't edit does nothing, quietly -------------------------

std::vector<char> AbstractDataContainer::getValue(int, int, bool) const {
    return {};
}
int AbstractDataContainer::numRows() const {
    return 0;
}
int AbstractDataContainer::numCols() const {
    return 0;
}
int AbstractDataContainer::numColsInRow(int) const {
    return 0;
}
std::vector<int> AbstractDataContainer::emptyRows(int, GetRowColMaskType, const std::vector<int>&) {
    return {};
}
std::vector<int> AbstractDataContainer::emptyCols(int, GetRowColMaskType, const std::vector<int>&) {
    return {};
}
int AbstractDataContainer::numEmptyRowsAtEnd() {
    return 0;
}
int AbstractDataContainer::numEmptyColsAtEnd() {
    return 0;
}
bool AbstractDataContainer::setValue(const int&, const int&, const std::vector<char>&) {
    return false;
}
void AbstractDataContainer::setValuesInRow(int row,
                                           const std::vector<std::pair<int, std::string_view>>& cells) {
    for (const auto& [col, value] : cells)
        setValue(row, col, std::vector<char>(value.begin(), value.end()));
}
bool AbstractDataContainer::resizeRows(int) {
    return false;
}
bool AbstractDataContainer::resizeCols(int) {
    return false;
}
bool AbstractDataContainer::clear() {
    return false;
}
void AbstractDataContainer::getRow(std::vector<std::vector<char>>&, int) {}
void AbstractDataContainer::getCol(std::vector<std::vector<char>>&, int) {}
void AbstractDataContainer::setRow(int, const std::vector<std::vector<char>>&) {}
void AbstractDataContainer::setCol(int, const std::vector<std::vector<char>>&) {}
int AbstractDataContainer::rowFieldsAsRead(int) const {
    return 0;
}
void AbstractDataContainer::setRowAsRead(int row, const std::vector<std::vector<char>>& cells, int) {
    setRow(row, cells);
}
void AbstractDataContainer::setRowFieldsAsRead(int, int) {}
void AbstractDataContainer::insertRow(int, const std::vector<std::vector<char>>&) {}
void AbstractDataContainer::insertCol(int, const std::vector<std::vector<char>>&) {}
void AbstractDataContainer::insertRows(int, const std::vector<std::vector<std::vector<char>>>&) {}
void AbstractDataContainer::insertCols(int, const std::vector<std::vector<std::vector<char>>>&) {}
bool AbstractDataContainer::insertEmptyRows(int, int) {
    return false;
}
bool AbstractDataContainer::insertEmptyCols(int, int) {
    return false;
}
bool AbstractDataContainer::removeRows(int, int) {
    return false;
}
bool AbstractDataContainer::removeCols(int, int) {
    return false;
}
void AbstractDataContainer::copyRowContentsToAnotherRow(int, int) {}
void AbstractDataContainer::copyColContentsToAnotherCol(int, int) {}

bool AbstractDataContainer::saveCSV(bool, bool, const std::vector<int>&, const std::vector<int>&) {
    return false;
}

bool AbstractDataContainer::saveCSV(const QString& path, bool fromUser, bool transposed,
                                    const std::vector<int>& rowsToSkip, const std::vector<int>& colsToSkip) {
    const QString previous = filepath;
    filepath = path;
    if (saveCSV(fromUser, transposed, rowsToSkip, colsToSkip))
        return true;
    filepath = previous;
    return false;
}

void AbstractDataContainer::getRowCSVString(std::vector<char>&, int, GetRowColMaskType,
                                            const std::vector<int>&) {}
void AbstractDataContainer::getRowCSVStringMultiByte(std::vector<char>&, int, GetRowColMaskType,
                                                     const std::vector<int>&) {}
void AbstractDataContainer::getColCSVString(std::vector<char>&, int, GetRowColMaskType,
                                            const std::vector<int>&) {}
void AbstractDataContainer::getColCSVStringMultiByte(std::vector<char>&, int, GetRowColMaskType,
                                                     const std::vector<int>&) {}

bool AbstractDataContainer::loadCSV() {
    return false;
}
bool AbstractDataContainer::loadCSVNoDelimiter() {
    return false;
}
bool AbstractDataContainer::loadCSVMultiByte() {
    return false;
}
bool AbstractDataContainer::loadCSVNoDelimiterMultiByte() {
    return false;
}

// --- Parameters ----------------------------------------------------------------------------

void AbstractDataContainer::setDelimiter(char readDelimiter, char writeDelimiter) {
    delimiter = readDelimiter;
    saveDelimiter = writeDelimiter;
}

void AbstractDataContainer::setEncoding(EncodingType type) {
    encoding = type;
    bytesPerChar = Utilities::numBytesPerChar(type);
}

void AbstractDataContainer::setProgressUpdateSync(QMutex* mutex, QWaitCondition* condition) {
    progressUpdateMutex = mutex;
    progressUpdateCondition = condition;
}

// --- Byte order marks ----------------------------------------------------------------------

std::vector<char> AbstractDataContainer::getEncodingBom(EncodingType type) {
    switch (type) {
    case UTF_8:
        return {'\xEF', '\xBB', '\xBF'};
    case UTF_16BE:
    case UTF_16_GUESSED_BE:
        return {'\xFE', '\xFF'};
    case UTF_16LE:
    case UTF_16_GUESSED_LE:
        return {'\xFF', '\xFE'};
    case UTF_32LE:
    case UTF_32_GUESSED_LE:
        return {'\xFF', '\xFE', '\0', '\0'};
    case UTF_32BE:
    case UTF_32_GUESSED_BE:
        return {'\0', '\0', '\xFE', '\xFF'};
    default:
        return {};
    }
}

int AbstractDataContainer::computeBomOffset(const char* buffer, qint64 size, EncodingType type) {
    const std::vector<char> expected = getEncodingBom(type);
    if (expected.empty() || size < static_cast<qint64>(expected.size()))
        return 0;
    return std::memcmp(buffer, expected.data(), expected.size()) == 0 ? static_cast<int>(expected.size()) : 0;
}

int AbstractDataContainer::computeTableBomOffset(const char* buffer, qint64 size, bool recordBom) {
    // Without a known byte order, the longer of the two matching BOMs wins; equal offsets
    // (both zero, in practice) mean no BOM.
    auto pickOf = [&](EncodingType first, EncodingType second) {
        const int a = computeBomOffset(buffer, size, first);
        const int b = computeBomOffset(buffer, size, second);
        if (a == b)
            return 0;
        const EncodingType found = a > b ? first : second;
        hasBom = true;
        bom = getEncodingBom(found);
        return std::max(a, b);
    };
    if (encoding == UTF_32)
        return pickOf(UTF_32BE, UTF_32LE);
    if (encoding == UTF_16)
        return pickOf(UTF_16BE, UTF_16LE);
    const int offset = computeBomOffset(buffer, size, encoding);
    if (recordBom && offset >= 1) {
        hasBom = true;
        bom = getEncodingBom(encoding);
    }
    return offset;
}

bool AbstractDataContainer::isBomConsistentWithEncoding(const std::vector<char>& bomBytes,
                                                        EncodingType type) {
    if (type == UTF_32)
        return bomBytes == getEncodingBom(UTF_32BE) || bomBytes == getEncodingBom(UTF_32LE);
    if (type == UTF_16)
        return bomBytes == getEncodingBom(UTF_16LE) || bomBytes == getEncodingBom(UTF_16BE);
    return bomBytes == getEncodingBom(type);
}

AbstractDataContainer::KeyCharVecs AbstractDataContainer::setKeyCharVecs() const {
    auto unit = [this](char c) -> std::vector<char> {
        switch (encoding) {
        case UTF_16:
        case UTF_16LE:
        case UTF_16_GUESSED_LE:
            return {c, '\0'};
        case UTF_16BE:
        case UTF_16_GUESSED_BE:
            return {'\0', c};
        case UTF_32:
        case UTF_32LE:
        case UTF_32_GUESSED_LE:
            return {c, '\0', '\0', '\0'};
        case UTF_32BE:
        case UTF_32_GUESSED_BE:
            return {'\0', '\0', '\0', c};
        default:
            return {};
        }
    };
    KeyCharVecs keys;
    keys.delimiter = unit(delimiter);
    keys.saveDelimiter = unit(saveDelimiter);
    keys.cr = unit(KeyChars::CR);
    keys.lf = unit(KeyChars::LF);
    keys.recordSeparator = unit(KeyChars::RecordSeparator);
    keys.quote = unit(KeyChars::Quote);
    keys.doubledQuote = keys.quote;
    keys.doubledQuote.insert(keys.doubledQuote.end(), keys.quote.begin(), keys.quote.end());
    return keys;
}

// --- Text operations -------------------------------------------------------------------------

void AbstractDataContainer::stringReplace(std::vector<char>& s, char target, char replacement) const {
    std::replace(s.begin(), s.end(), target, replacement);
}

void AbstractDataContainer::stringReplace(std::vector<char>& s, const std::vector<char>& target,
                                          const std::vector<char>& replacement) const {
    if (target.empty() || s.size() < target.size())
        return;
    qsizetype pos = findChars(s, target, 0);
    if (pos < 0)
        return;
    std::vector<char> out;
    out.reserve(s.size() + replacement.size());
    qsizetype copied = 0;
    while (pos >= 0) {
        out.insert(out.end(), s.begin() + copied, s.begin() + pos);
        out.insert(out.end(), replacement.begin(), replacement.end());
        copied = pos + static_cast<qsizetype>(target.size());
        pos = findChars(s, target, copied);
    }
    out.insert(out.end(), s.begin() + copied, s.end());
    s.swap(out);
}

void AbstractDataContainer::stringReplace(std::vector<char>& s, const std::string& target,
                                          const std::string& replacement) const {
    stringReplace(s, stdStringToCharVec(target), stdStringToCharVec(replacement));
}

qsizetype AbstractDataContainer::findChars(const std::vector<char>& s, const std::vector<char>& target,
                                           qsizetype from) const {
    if (target.empty() || from < 0 || from >= static_cast<qsizetype>(s.size()))
        return -1;
    const auto it = std::search(s.begin() + from, s.end(), target.begin(), target.end());
    return it == s.end() ? -1 : static_cast<qsizetype>(it - s.begin());
}

void AbstractDataContainer::replaceChars(std::vector<char>& s, qsizetype pos, qsizetype length,
                                         const std::vector<char>& with) const {
    if (pos < 0 || pos > static_cast<qsizetype>(s.size()))
        return;
    length = std::clamp<qsizetype>(length, 0, static_cast<qsizetype>(s.size()) - pos);
    s.erase(s.begin() + pos, s.begin() + pos + length);
    s.insert(s.begin() + pos, with.begin(), with.end());
}

std::vector<char> AbstractDataContainer::stdStringToCharVec(const std::string& s) const {
    return std::vector<char>(s.begin(), s.end());
}

std::string AbstractDataContainer::charVecToStdString(const std::vector<char>& v) const {
    return std::string(v.begin(), v.end());
}

bool AbstractDataContainer::areCharVecsEqual(const std::vector<char>& a, const std::vector<char>& b) const {
    return a == b;
}

bool AbstractDataContainer::areCharVecsEqual(const char* a, const std::vector<char>& b) const {
    return std::memcmp(a, b.data(), b.size()) == 0;
}

// --- Progress handshake ----------------------------------------------------------------------
// The loader waits on the GUI briefly at each report so it can never run far ahead of the
// progress dialog; without a mutex or condition the report still goes out, unpaced.

void AbstractDataContainer::beginProgress(qint64 fileSize) {
    nextProgressMark = -1;
    if (fileSize < kProgressThreshold)
        return;
    if (progressUpdateMutex)
        progressUpdateMutex->lock();
    emit startProgressUpdateSignal();
    if (progressUpdateMutex && progressUpdateCondition)
        progressUpdateCondition->wait(progressUpdateMutex, 1);
    if (progressUpdateMutex)
        progressUpdateMutex->unlock();
}

void AbstractDataContainer::reportProgressIfDue(qint64 position, qint64 fileSize, int bytesPerUnit) {
    if (fileSize < kProgressThreshold || position <= nextProgressMark)
        return;
    if (progressUpdateMutex)
        progressUpdateMutex->lock();
    const qint64 bytePosition = position * bytesPerUnit;
    emit loadProgressUpdateSignal(static_cast<int>(bytePosition / kProgressStep),
                                  static_cast<int>((fileSize >> 23) + 1), static_cast<int>(fileSize >> 20));
    nextProgressMark += kProgressStep / bytesPerUnit;
    if (progressUpdateMutex && progressUpdateCondition)
        progressUpdateCondition->wait(progressUpdateMutex, 1);
    if (progressUpdateMutex)
        progressUpdateMutex->unlock();
}

void AbstractDataContainer::setReadError(int error) {
    errorString = error != 0 ? QString::fromLocal8Bit(std::strerror(error))
                             : QStringLiteral("The file got shorter while it was being read.");
}

std::vector<char> AbstractDataContainer::lastTerminator(int fd, qint64 size) const {
    const qint64 unit = bytesPerChar >= 2 ? bytesPerChar : 1;
    if (fd < 0 || size < unit)
        return {};
    std::vector<char> last(static_cast<size_t>(unit));
    const qint64 at = size - size % unit - unit;
    if (PieceReader::readFully(fd, last.data(), at, unit) != unit)
        return {};
    if (unit == 1)
        return last[0] == KeyChars::LF || last[0] == KeyChars::CR || last[0] == KeyChars::RecordSeparator
                   ? last
                   : std::vector<char>();
    const KeyCharVecs keys = setKeyCharVecs();
    return last == keys.lf || last == keys.cr || last == keys.recordSeparator ? last : std::vector<char>();
}
