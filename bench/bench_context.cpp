// orvane-bench context: the pass of MainWindow::setContext over the command table, which runs on
// every change of what is true in the window (each edit that starts or ends, each selection that
// grows past one cell). Figures: the time per call with the context unchanged and with it
// flipping between editing and not editing (which turns a hundred actions on or off), each
// against 5% of a 16 ms frame; and the allocations per call, counted by this program's malloc,
// against the allocations of the same QAction::setEnabled flips made directly.

#include "benchregistry.h"
#include "benchutil.h"

#include "view/tableview.h"
#include "window/mainwindow.h"

#include <QAction>
#include <QApplication>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace {

std::atomic<bool> counting{false};
std::atomic<long long> allocations{0};

[[maybe_unused]] void count() {
    if (counting.load(std::memory_order_relaxed))
        allocations.fetch_add(1, std::memory_order_relaxed);
}

// Allocations made while `work` runs.
template <typename Work> long long countAllocations(Work work) {
    allocations = 0;
    counting = true;
    work();
    counting = false;
    return allocations.load();
}

} // namespace

// A sanitizer brings an allocator of its own, which this one would bypass: counting is then off.
#if defined(__SANITIZE_ADDRESS__)
#define ORVANE_COUNT_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVANE_COUNT_ALLOCATIONS 0
#endif
#endif
#ifndef ORVANE_COUNT_ALLOCATIONS
#define ORVANE_COUNT_ALLOCATIONS 1
#endif

#if ORVANE_COUNT_ALLOCATIONS
// The C library's own allocator, which the counting one below hands every request to.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* pointer, std::size_t size);
extern "C" void __libc_free(void* pointer);

// Every allocation of the process, Qt's included, passes here; counting is off but for the
// spans measured, so the other operations only pay for one relaxed load.
extern "C" void* malloc(std::size_t size) {
    count();
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t number, std::size_t size) {
    count();
    return __libc_calloc(number, size);
}

extern "C" void* realloc(void* pointer, std::size_t size) {
    count();
    return __libc_realloc(pointer, size);
}

extern "C" void free(void* pointer) {
    __libc_free(pointer);
}
#endif

namespace {

int runContext(const QStringList& args) {
    using BenchUtil::Figure;
    const qint64 calls = BenchUtil::optionInt(args, QStringLiteral("--calls"), 20000);
    if (calls < 2) {
        std::fprintf(stderr, "context: --calls must be at least 2\n");
        return 2;
    }
    MainWindow window;
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.resize(1200, 800);
    window.show();
    for (int i = 0; i < 10; ++i)
        QApplication::processEvents();

    const Context notEditing = window.getContext() - ContextEditing + ContextNotEditing;
    const Context editing = window.getContext() - ContextNotEditing + ContextEditing;
    window.setContext(notEditing);

    // The same context again and again: no action changes.
    BenchUtil::Timer steadyTimer;
    for (qint64 i = 0; i < calls; ++i)
        window.setContext(notEditing);
    const double steadyUs = steadyTimer.seconds() * 1e6 / double(calls);
    const long long steadyAllocations = countAllocations([&] {
        for (qint64 i = 0; i < calls; ++i)
            window.setContext(notEditing);
    });

    // Editing starts and ends: every command that excludes one of the two flips.
    BenchUtil::Timer flipTimer;
    for (qint64 i = 0; i < calls; ++i)
        window.setContext(i % 2 ? notEditing : editing);
    const double flipUs = flipTimer.seconds() * 1e6 / double(calls);
    const double flipCpuUs = flipTimer.cpuSeconds() * 1e6 / double(calls);
    window.setContext(notEditing);
    const long long flipAllocations = countAllocations([&] {
        for (qint64 i = 0; i < calls; ++i)
            window.setContext(i % 2 ? notEditing : editing);
    });

    // The limit: the same actions switched directly, without the pass over the table.
    std::vector<std::pair<QAction*, std::pair<bool, bool>>> flips;
    int flipping = 0;
    for (const Command* command : window.getCommands().wiredCommands()) {
        const bool on = command->matchesContext(notEditing);
        const bool onEditing = command->matchesContext(editing);
        flipping += on != onEditing ? 1 : 0;
        flips.push_back({command->action, {on, onEditing}});
    }
    window.setContext(notEditing);
    const long long bareAllocations = countAllocations([&] {
        for (qint64 i = 0; i < calls; ++i) {
            for (const auto& [action, states] : flips)
                action->setEnabled(i % 2 ? states.first : states.second);
        }
    });
    window.setContext(notEditing);

    // The counter itself must see allocations, or its zeros say nothing.
    const long long probe = countAllocations([] { delete new std::vector<int>(100); });
    if (probe < 1) {
        std::fprintf(stderr, "context: the allocation counter sees nothing\n");
        return 1;
    }

    const double frameShareUs = 16000.0 * 0.05;
    const double perCall = 1.0 / double(calls);
    std::vector<Figure> figures;
    figures.push_back(
        {"context", "commands", double(window.getCommands().getCommands().size()), "records", 0, ""});
    figures.push_back({"context", "actions flipped per change", double(flipping), "actions", 0, ""});
    figures.push_back(
        {"context", "setContext, unchanged", steadyUs, "us/call", frameShareUs, "5% of a 16 ms frame"});
    figures.push_back(
        {"context", "setContext, editing flips", flipUs, "us/call", frameShareUs, "5% of a 16 ms frame"});
    figures.push_back({"context", "setContext, editing flips CPU", flipCpuUs, "us/call", frameShareUs,
                       "5% of a 16 ms frame"});
    figures.push_back({"context", "allocations, unchanged", double(steadyAllocations) * perCall,
                       "allocs/call", 0, "none: no action changes"});
    figures.push_back({"context", "allocations, editing flips", double(flipAllocations) * perCall,
                       "allocs/call", double(bareAllocations) * perCall,
                       "QAction::setEnabled of the same flips alone"});
    BenchUtil::printFigures(figures);
    const bool withinFrame = flipUs <= frameShareUs || flipCpuUs <= frameShareUs;
    return withinFrame && steadyAllocations == 0 && flipAllocations <= bareAllocations ? 0 : 1;
}

} // namespace

BenchRegistration contextRegistration("context",
                                      "context [--calls N]: time and allocations of MainWindow::setContext "
                                      "per call over the command table",
                                      &runContext, true);
