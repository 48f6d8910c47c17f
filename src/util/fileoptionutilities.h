#pragma once

#include "preferences/settingtypes.h"
#include "storage/fileparameters.h"

#include <QString>

#include <vector>

// The choices the file prompts offer (delimiters, encodings, line endings, parsing standards,
// refresh behaviours) and the readers of what is typed into them. Pure functions.
namespace Utilities {

// One choice of a list: what it is called and what choosing it answers.
struct NamedChoice {
    QString name;
    QString response;
};

// "Comma (,)" answers ",", "Tab" answers "\t", and so on.
std::vector<NamedChoice> getDelimiterChoices();
// Every encoding once, by the name the status bar shows.
std::vector<NamedChoice> getEncodingChoices();
std::vector<NamedChoice> getLineEndingChoices();
std::vector<NamedChoice> getParsingStandardChoices();
std::vector<NamedChoice> getRefreshBehaviorChoices();

// A delimiter as chosen or typed: a choice's name or response, a name ("tab", "semicolon"), an
// escape ("\t", "\s") or any single character but a quote or a line break. Gives the character.
bool parseDelimiterAnswer(const QString& text, QString& delimiter);
// An encoding by its name or codec name, spaces, hyphens and case aside ("utf8", "Latin-1" is
// not one: "ISO 8859-1" is).
bool parseEncodingAnswer(const QString& text, EncodingType& encoding);
bool parseLineEndingAnswer(const QString& text, LineEndingType& lineEnding);
bool parseParsingStandardAnswer(const QString& text, ParsingStandard& standard);
bool parseRefreshBehaviorAnswer(const QString& text, RefreshBehavior& behavior);

// "name Duplicate.ext" for "name.ext"; a name without extension just gets " Duplicate".
QString makeDuplicateFileName(const QString& fileName);
// A name that can stand for a file in a folder: not empty, no folder separator, not "." or "..".
bool fileNameValid(const QString& name);

} // namespace Utilities
