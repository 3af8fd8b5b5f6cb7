#include <charconv>
#include <cstdio>
#include <deque>
#include <new>
#include <utility>

#include "commands.h"
#include "converter.h"

namespace tool {

namespace {

// Positions from 0 of "3" or "2-5", or "5-2" for the other way round.
void appendSelected(std::vector<size_t>& out, const std::string& part, size_t count) {
    size_t first = 0, last = 0;
    const char *text = part.data(), *end = text + part.size();
    auto parsed = std::from_chars(text, end, first);
    last = first;
    if (parsed.ec == std::errc() && parsed.ptr != end && *parsed.ptr == '-') {
        parsed = std::from_chars(parsed.ptr + 1, end, last);
    }
    const bool sound = parsed.ec == std::errc() && parsed.ptr == end;
    if (!sound || first < 1 || last < 1 || first > count || last > count) {
        throw usageFailure("--select " + part + " is no number or range from 1 to " + std::to_string(count));
    }
    for (size_t at = first;; at += first < last ? 1 : -1) {
        out.push_back(at - 1);
        if (at == last) return;
    }
}

std::vector<std::string> selectedFiles(const PagesOptions& options) {
    if (options.select.empty()) return options.in;
    std::vector<size_t> positions;
    for (const std::string& part : options.select) appendSelected(positions, part, options.in.size());
    std::vector<std::string> files;
    for (size_t position : positions) files.push_back(options.in[position]);
    return files;
}

// As many digits as the last page needs, so that names sort in the order of pages.
std::string pageNumber(size_t page, size_t count) {
    const std::string digits = std::to_string(page);
    return std::string(std::to_string(count).size() - digits.size(), '0') + digits;
}

void commitAll(std::deque<OutputFile>& outputs) {
    size_t done = 0;
    try {
        for (OutputFile& output : outputs) {
            output.commit();
            done++;
        }
    } catch (const Failure& failure) {
        if (done == 0) throw;
        throw Failure(std::string(failure.what()) + " (only the first " + std::to_string(done) + " of " +
                          std::to_string(outputs.size()) + " results are in place)",
                      failure.code());
    }
}

// Results on their way to their names.
class ResultSet {
  public:
    explicit ResultSet(const Converter& converter) : converter_(converter) {}

    void add(Result& result) {
        reports_ += converter_.report(result);
        converter_.write(result, outputs_.emplace_back(result.out));
        outputs_.back().finish();
    }

    void commit() {
        commitAll(outputs_);
        std::fputs(reports_.c_str(), stdout);
    }

  private:
    const Converter& converter_;
    std::deque<OutputFile> outputs_;
    std::string reports_;
};

// Each picture is let go of before the next one is worked on.
void makeOneByOne(const Converter& converter, BitmapList list, std::vector<Page>& pages,
                  const std::vector<std::string>& outs, ResultSet& results) {
    for (size_t i = 0; i < pages.size(); i++) {
        Page& page = pages[i];
        page.bitmap = list.takeFirst(page.file);
        converter.prepare(page);
        for (const Job& job : converter.jobs()) {
            Result result = converter.make(page, job, outs[i]);
            results.add(result);
        }
        page.bitmap = Bitmap();
    }
}

void makeTogether(const Converter& converter, BitmapList list, std::vector<Page>& pages,
                  const std::vector<std::string>& outs, ResultSet& results) {
    for (Page& page : pages) {
        page.bitmap = list.takeFirst(page.file);
        converter.prepare(page);
        list.append(page.bitmap, page.file);
    }
    const std::vector<Job>& jobs = converter.jobs();
    for (size_t i = 0; i < jobs.size(); i++) {
        // The last job needs no copy: it may use the pictures up.
        BitmapList work = i + 1 < jobs.size() ? list.copy(pages[0].file) : std::move(list);
        for (Result& result : converter.makeTogether(std::move(work), pages, jobs[i], outs)) results.add(result);
    }
}

}  // namespace

void pages(const PagesOptions& options) {
    const Converter converter(options, options.out);
    const std::vector<std::string> files = selectedFiles(options);
    if (files.size() > 1 && options.out.find("{page}") == std::string::npos) {
        throw usageFailure("several pictures need {page} in " + options.out);
    }
    if (options.sharedPalette && !options.optimizes()) {
        throw usageFailure("--shared-palette goes with --palette optimized");
    }

    BitmapList list;
    std::vector<Page> waiting;
    std::vector<std::string> outs;
    for (const std::string& file : files) {
        Page& page = waiting.emplace_back(converter.read(file));
        list.append(page.bitmap, file);
        replaceAll(outs.emplace_back(options.out), "{page}", pageNumber(waiting.size(), files.size()));
    }

    ResultSet results(converter);
    (options.sharedPalette ? makeTogether : makeOneByOne)(converter, std::move(list), waiting, outs, results);
    results.commit();
}

}  // namespace tool
