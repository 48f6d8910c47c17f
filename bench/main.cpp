#include "benchregistry.h"

#include <QCoreApplication>

#include <cstdio>

std::map<std::string, BenchEntry>& benchRegistry()
{
    static std::map<std::string, BenchEntry> registry;
    return registry;
}

static void printUsage()
{
    std::fprintf(stderr, "usage: orvane-bench <operation> [options]\n\noperations:\n");
    for (const auto& [name, entry] : benchRegistry())
        std::fprintf(stderr, "  %s\n", entry.usage.c_str());
}

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments();
    args.removeFirst();
    if (args.isEmpty()) {
        printUsage();
        return 2;
    }
    const std::string operation = args.takeFirst().toStdString();
    const auto it = benchRegistry().find(operation);
    if (it == benchRegistry().end()) {
        std::fprintf(stderr, "orvane-bench: unknown operation '%s'\n", operation.c_str());
        printUsage();
        return 2;
    }
    return it->second.run(args);
}
