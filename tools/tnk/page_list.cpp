#include "page_list.h"

#include <charconv>
#include <map>

#include "converter.h"
#include "failure.h"
#include "file.h"
#include "picture.h"

namespace tool {

namespace {

struct Source {
    size_t input;  // its position on the command line
    int page;
};

std::vector<Source> allPages(const std::vector<std::string>& inputs) {
    std::vector<Source> pages;
    for (size_t i = 0; i < inputs.size(); i++) {
        int count = 1;
        try {
            count = pagesIn(inputs[i]);
        } catch (const Failure& failure) {
            if (failure.code() == kExitInterrupted) throw;
        }
        for (int page = 0; page < count; page++) pages.push_back({i, page});
    }
    return pages;
}

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

std::vector<Source> selectedPages(const PagesOptions& options) {
    std::vector<Source> all = allPages(options.in);
    if (options.select.empty()) return all;
    std::vector<size_t> positions;
    for (const std::string& part : options.select) appendSelected(positions, part, all.size());
    std::vector<Source> selected;
    for (size_t position : positions) selected.push_back(all[position]);
    return selected;
}

// As many digits as the last page needs, so that names sort in the order of pages.
std::string pageNumber(size_t page, size_t count) {
    const std::string digits = std::to_string(page);
    return std::string(std::to_string(count).size() - digits.size(), '0') + digits;
}

std::string nameOf(const std::string& file) {
    const size_t slash = file.find_last_of(
#if defined(_WIN32)
        "/\\:"
#else
        "/"
#endif
    );
    const std::string name = slash == file.npos ? file : file.substr(slash + 1);
    return name.substr(0, name.size() - extensionOf(name).size());
}

// Names that are one file.
std::string folded(std::string name) {
#if defined(_WIN32)
    for (char& c : name) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c == '\\') c = '/';
    }
#endif
    return name;
}

}  // namespace

std::vector<Entry> listPages(const PagesOptions& options, bool oneFile) {
    const std::vector<Source> sources = selectedPages(options);
    const bool named = options.out.find("{name}") != options.out.npos;
    if (sources.size() > 1 && !oneFile && !named && options.out.find("{page}") == options.out.npos) {
        throw usageFailure("several pictures need {page} or {name} in " + options.out);
    }
    std::vector<Entry> entries;
    std::map<std::string, Source> owners;
    for (const Source& source : sources) {
        const std::string& file = options.in[source.input];
        Entry& entry = entries.emplace_back(Entry{file, source.page, options.out});
        replaceAll(entry.out, "{page}", pageNumber(entries.size(), sources.size()));
        replaceAll(entry.out, "{name}", nameOf(file));
        const auto [owner, isNew] = owners.try_emplace(folded(entry.out), source);
        if (isNew || (oneFile && (!named || owner->second.input == source.input))) continue;
        const std::string& other = options.in[owner->second.input];
        throw usageFailure(entry.out + " would be the result of " +
                           (owner->second.input == source.input ? "several pages of " + file : other + " and " + file) +
                           "; {page} tells results apart");
    }
    return entries;
}

}  // namespace tool
