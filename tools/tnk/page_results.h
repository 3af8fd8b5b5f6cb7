// Results of several pictures on their way to their names.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "converter.h"
#include "page_list.h"

namespace tool {

// For any number of threads. Without a commit of its own a file vanishes.
class PageResults {
  public:
    // When do files get their names?
    enum class Naming { kWhenReady, kTogether };

    // When `oneFile`, pages with the same name and job go to one file, in the order of the entries.
    PageResults(const Converter& converter, const std::vector<Entry>& entries, bool oneFile, Naming naming);

    bool goToOneFile() const { return !books_.empty(); }

    // Writes the result of a job. Where pages go to one file it waits for those before it, which are to be begun already, and
    // does nothing when one of them is lost.
    void add(size_t entry, size_t job, Result& result);
    // An entry that failed: files that it should be in are not made.
    void lose(size_t entry);
    // Nothing is left to do for an entry: all files that it should be in are lost or kept.
    bool isLost(size_t entry) const;

    // Names what still has none, and tells what was lost. A failure when files were kept as they are.
    void finish();

  private:
    // A file on its way, and the line for the user.
    struct Waiting {
        std::unique_ptr<OutputFile> output;
        std::string report;
    };
    // A file of several pages.
    struct Book {
        std::vector<size_t> entries;
        size_t written = 0;
        bool lost = false;
        bool kept = false;
        Waiting file;
        std::unique_ptr<PictureEncoder> encoder;  // ends before the file
    };

    void addToBook(Book& book, size_t entry, Result& result);
    void complete(size_t entry, Waiting waiting);
    bool isStillNeeded(const std::string& out, size_t entry) const;

    const Converter& converter_;
    const std::vector<Entry>& entries_;
    const Naming naming_;
    std::map<std::filesystem::path, std::multiset<std::string>>
        sources_;                                           // of files, the names that they were given by
    std::map<std::pair<std::string, size_t>, Book> books_;  // by name and job
    std::map<size_t, std::vector<Book*>> booksOf_;          // by entry
    std::vector<Waiting> waiting_;
    mutable std::mutex lock_;
    std::condition_variable turned_;
};

}  // namespace tool
