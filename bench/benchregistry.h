#pragma once

#include <QStringList>

#include <functional>
#include <map>
#include <string>

// Each benchmark operation registers itself under its name from its own file:
//   static BenchRegistration reg("load", "load --size-mb N: ...", &runLoad);
// The function gets the arguments after the operation's name and returns the exit code.
using BenchFunction = std::function<int(const QStringList& args)>;

struct BenchEntry {
    std::string usage;
    BenchFunction run;
    bool widgets = false; // runs under a QApplication instead of a QCoreApplication
};

std::map<std::string, BenchEntry>& benchRegistry();

struct BenchRegistration {
    BenchRegistration(const std::string& name, const std::string& usage, BenchFunction run,
                      bool widgets = false) {
        benchRegistry()[name] = BenchEntry{usage, std::move(run), widgets};
    }
};
