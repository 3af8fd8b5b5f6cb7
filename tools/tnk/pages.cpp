#include <charconv>
#include <cstdio>
#include <deque>
#include <new>
#include <utility>

#include "commands.h"
#include "converter.h"

namespace tool {

namespace {

// Bitmaps that the library keeps in order.
class BitmapList {
  public:
    BitmapList() {
        if (T_CreateBitmapList(&list_) != T_SUCCESS) throw std::bad_alloc();
    }
    ~BitmapList() { T_DestroyBitmapList(list_); }
    BitmapList(const BitmapList&) = delete;
    BitmapList& operator=(const BitmapList&) = delete;

    void append(Page& page) {
        constexpr uint32_t kEnd = ~0u;
        require(T_InsertBitmapListItem(list_, kEnd, page.bitmap.get()), page.file);
        page.bitmap.forget();
    }

    void takeFirst(Page& page) { require(T_RemoveBitmapListItem(list_, 0, page.bitmap.get()), page.file); }

  private:
    T_HANDLE list_ = 0;
};

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

}  // namespace

void pages(const PagesOptions& options) {
    const Converter converter(options, options.out);
    const std::vector<std::string> files = selectedFiles(options);
    if (files.size() > 1 && options.out.find("{page}") == std::string::npos) {
        throw usageFailure("several pictures need {page} in " + options.out);
    }

    BitmapList list;
    std::vector<Page> waiting;
    for (const std::string& file : files) {
        waiting.push_back(converter.read(file));
        list.append(waiting.back());
    }

    std::deque<OutputFile> outputs;
    std::string reports;
    for (size_t i = 0; i < waiting.size(); i++) {
        Page page = std::move(waiting[i]);
        list.takeFirst(page);
        converter.prepare(page);
        std::string out = options.out;
        replaceAll(out, "{page}", pageNumber(i + 1, waiting.size()));
        for (const Job& job : converter.jobs()) {
            Result result = converter.make(page, job, out);
            converter.write(result, outputs.emplace_back(result.out));
            outputs.back().finish();
            reports += converter.report(result);
        }
    }
    commitAll(outputs);
    std::fputs(reports.c_str(), stdout);
}

}  // namespace tool
