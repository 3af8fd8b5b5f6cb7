#include "page_results.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "progress.h"

namespace tool {

namespace {

std::filesystem::path placeOf(const std::string& name) {
    std::error_code error;
    const std::filesystem::path path = pathOf(name), place = std::filesystem::weakly_canonical(path, error);
    return error ? path : place;
}

}  // namespace

PageResults::PageResults(const Converter& converter, const std::vector<Entry>& entries, bool oneFile, Naming naming)
    : converter_(converter), entries_(entries), naming_(naming) {
    for (size_t i = 0; i < entries.size(); i++) {
        sources_[placeOf(entries[i].file)].insert(entries[i].file);
        for (size_t job = 0; oneFile && job < converter.jobs().size(); job++) {
            Book& book = books_[{entries[i].out, job}];
            if (book.entries.empty()) book.kept = converter.keeps(entries[i].out, job);
            book.entries.push_back(i);
            booksOf_[i].push_back(&book);
        }
    }
}

void PageResults::add(size_t entry, size_t job, Result& result) {
    if (const auto book = books_.find({entries_[entry].out, job}); book != books_.end()) {
        return addToBook(book->second, entry, result);
    }
    Waiting file = {std::make_unique<OutputFile>(result.out), converter_.report(result)};
    writePicture(converter_.format(), result.page.bitmap, *file.output, converter_.writingOf(result));
    complete(entry, std::move(file));
}

void PageResults::addToBook(Book& book, size_t entry, Result& result) {
    if (book.kept) return;
    std::unique_lock lock(lock_);
    while (!book.lost && book.entries[book.written] != entry) {
        turned_.wait_for(lock, std::chrono::milliseconds(50));
        if (interrupted()) throw interruptedFailure();
    }
    if (book.lost) return;
    // It is this thread's turn until it has counted the page.
    lock.unlock();
    book.file.report += converter_.report(result);
    if (!book.encoder) {
        book.file.output = std::make_unique<OutputFile>(result.out);
        book.encoder = makeEncoder(converter_.format(), *book.file.output);
    }
    book.encoder->add(result.page.bitmap, converter_.writingOf(result));
    const bool last = book.written + 1 == book.entries.size();
    if (last) {
        book.encoder->finish();
        book.encoder.reset();
        complete(entry, std::move(book.file));
    }
    lock.lock();
    if (!last) book.written++;
    turned_.notify_all();
}

void PageResults::lose(size_t entry) {
    const std::lock_guard lock(lock_);
    for (Book* book : booksOf_[entry]) book->lost = true;
    turned_.notify_all();
}

bool PageResults::isLost(size_t entry) const {
    const std::lock_guard lock(lock_);
    const auto books = booksOf_.find(entry);
    if (books == booksOf_.end()) return false;
    return std::all_of(books->second.begin(), books->second.end(),
                       [](const Book* book) { return book->lost || book->kept; });
}

// Whether another picture is yet to be read from the file that a result replaces.
bool PageResults::isStillNeeded(const std::string& out, size_t entry) const {
    const auto source = sources_.find(placeOf(out));
    if (source == sources_.end()) return false;
    return source->second.size() > 1 || *source->second.begin() != entries_[entry].file;
}

void PageResults::complete(size_t entry, Waiting waiting) {
    if (naming_ == Naming::kTogether || isStillNeeded(waiting.output->name(), entry)) {
        waiting.output->finish();
        const std::lock_guard lock(lock_);
        waiting_.push_back(std::move(waiting));
        return;
    }
    waiting.output->commit();
    tell(waiting.output->reports(), waiting.report);
}

void PageResults::finish() {
    size_t done = 0;
    try {
        for (Waiting& file : waiting_) {
            file.output->commit();
            done++;
        }
    } catch (const Failure& failure) {
        if (done == 0 || failure.code() != kExitFailed) throw;
        throw Failure(std::string(failure.what()) + " (only the first " + std::to_string(done) + " of " +
                          std::to_string(waiting_.size()) + " results are in place)",
                      failure.code());
    }
    for (const Waiting& file : waiting_) tell(file.output->reports(), file.report);
    bool kept = false;
    for (const auto& [name, book] : books_) {
        kept |= book.kept;
        if (book.lost && !book.kept) complain(name.first + ": not written, since one of its pages failed");
    }
    if (kept) throw toldFailure();
}

}  // namespace tool
