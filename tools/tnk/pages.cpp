#include <atomic>
#include <numeric>
#include <utility>

#include "commands.h"
#include "converter.h"
#include "in_threads.h"
#include "memory.h"
#include "page_list.h"
#include "page_results.h"
#include "progress.h"

namespace tool {

namespace {

// Every picture on its own. Settings of the library belong to the thread, so each makes its own.
void makeOne(const PagesOptions& options, const Converter& converter, const Entry& entry, size_t number,
             PageResults& results) {
    memoryRequest(options.memory);
    bool kept = false;
    std::vector<size_t> jobs;
    if (results.goToOneFile()) {  // which looked already
        jobs.resize(converter.jobs().size());
        std::iota(jobs.begin(), jobs.end(), size_t{0});
    } else {
        jobs = converter.wantedJobs(entry.out, kept);
    }
    if (!jobs.empty() && !results.isLost(number)) {
        Page page = converter.read(entry.file, entry.page);
        if (entry.file == kStandard && page.pages > 1) {
            complain("note: only the first of " + std::to_string(page.pages) + " pages comes from standard input");
        }
        converter.prepare(page);
        for (const size_t job : jobs) {
            Result result = converter.make(page, converter.jobs()[job], entry.out);
            results.add(number, job, result);
        }
    }
    if (kept) throw toldFailure();
}

// A picture that fails is told, and the others are made.
void makeOneByOne(const PagesOptions& options, const Converter& converter, const std::vector<Entry>& entries,
                  bool oneFile) {
    PageResults results(converter, entries, oneFile, PageResults::Naming::kWhenReady);
    std::atomic<bool> failed = false;
    {
        SharedProgress progress("converting", entries.size());
        const size_t jobs = options.jobs ? static_cast<size_t>(options.jobs) : defaultJobs();
        inThreads(entries.size(), jobs, [&](size_t i) {
            const auto work = [&] {
                try {
                    makeOne(options, converter, entries[i], i, results);
                } catch (const Failure& failure) {
                    if (failure.code() != kExitInterrupted) throw;  // told once, for all threads
                }
            };
            if (guarded(work, entries[i].file) != kExitOk) {
                failed = true;
                results.lose(i);
            }
            progress.pictureDone();
            return !interrupted();
        });
    }
    if (interrupted()) throw interruptedFailure();
    results.finish();
    if (failed) throw toldFailure();
}

// One palette for all: a set is whole or absent.
void makeTogether(const Converter& converter, const std::vector<Entry>& entries, bool oneFile) {
    BitmapList list;
    std::vector<Page> pages;
    std::vector<std::string> outs;
    for (const Entry& entry : entries) {
        Page& page = pages.emplace_back(converter.read(entry.file, entry.page));
        converter.prepare(page);
        list.append(page.bitmap, page.file);
        outs.push_back(entry.out);
    }
    PageResults results(converter, entries, oneFile, PageResults::Naming::kTogether);
    const size_t jobs = converter.jobs().size();
    for (size_t job = 0; job < jobs; job++) {
        // The last job needs no copy: it may use the pictures up.
        BitmapList work = job + 1 < jobs ? list.copy(pages[0].file) : std::move(list);
        std::vector<Result> made = converter.makeTogether(std::move(work), pages, converter.jobs()[job], outs);
        for (size_t i = 0; i < made.size(); i++) results.add(i, job, made[i]);
    }
    results.finish();
}

}  // namespace

void pages(const PagesOptions& options) {
    const Converter converter(options, options.out);
    if (options.sharedPalette && !options.optimizes()) {
        throw usageFailure("--shared-palette goes with --palette optimized");
    }
    const bool oneFile = holdsPages(converter.format()) && options.out.find("{page}") == options.out.npos;
    const std::vector<Entry> entries = listPages(options, oneFile);
    if (oneFile && entries.size() > 1 && options.bits.empty() && options.out.find("{bits}") != options.out.npos) {
        throw usageFailure("{bits} of one file for all pages needs --bits");
    }
    if (options.sharedPalette) return makeTogether(converter, entries, oneFile);
    makeOneByOne(options, converter, entries, oneFile);
}

}  // namespace tool
