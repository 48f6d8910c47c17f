#include "benchregistry.h"

#include <QApplication>
#include <QCoreApplication>

#include <memory>

#include <cstdio>

std::map<std::string, BenchEntry>& benchRegistry() {
    static std::map<std::string, BenchEntry> registry;
    return registry;
}

static void printUsage() {
    std::fprintf(stderr, "usage: orvane-bench <operation> [options]\n\noperations:\n");
    for (const auto& [name, entry] : benchRegistry())
        std::fprintf(stderr, "  %s\n", entry.usage.c_str());
}

int main(int argc, char* argv[]) {
    // Only operations that measure widgets get a QApplication (and a display, offscreen when
    // there is none); the others stay free of the GUI.
    const std::string operation = argc > 1 ? argv[1] : "";
    const auto it = benchRegistry().find(operation);
    const bool widgets = it != benchRegistry().end() && it->second.widgets;
    if (widgets && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    std::unique_ptr<QCoreApplication> app =
        widgets ? std::make_unique<QApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    QStringList args = app->arguments();
    args.removeFirst();
    if (args.isEmpty()) {
        printUsage();
        return 2;
    }
    args.removeFirst();
    if (it == benchRegistry().end()) {
        std::fprintf(stderr, "orvane-bench: unknown operation '%s'\n", operation.c_str());
        printUsage();
        return 2;
    }
    return it->second.run(args);
}
