// From a picture file to results: what the options ask for, shared by the commands.
#pragma once

#include <string>
#include <vector>

#include "bitmap_list.h"
#include "commands.h"
#include "formats/writer.h"
#include "picture.h"

namespace tool {

// A picture on its way.
struct Page {
    std::string file;  // where it came from
    Resolution resolution = Resolution::kOmit;
    double milliseconds = 0;  // spent on it by the library
    double moving = 0;        // of these in steps of geometry
    Bitmap bitmap;
    int depth = 0;                      // that keeps every pixel, where the bitmap was widened; 0: the bitmap's
    std::vector<PaletteEntry> palette;  // in which every pixel has its colour
    Headers headers;
    int pages = 1;  // that the file has
};

struct Job {
    int bits;  // 0: as the picture is
    uint32_t method;
};

struct Result {
    std::string out;
    Page page;
    std::string method;  // of dithering, in words
};

// True when `text` had `placeholder`.
bool replaceAll(std::string& text, const std::string& placeholder, const std::string& value);

class Converter {
  public:
    // Reads the palette file too. Both objects stay the caller's; `out` names the results.
    Converter(const PictureOptions& options, const std::string& out);

    // What to make of each picture.
    const std::vector<Job>& jobs() const { return jobs_; }

    // Whether the result of a job is there and stays as it is, which is told. Without --bits the picture may decide its name:
    // then nobody knows yet.
    bool keeps(const std::string& out, size_t job) const;
    // Positions of the other jobs; `kept` is set where some are kept.
    std::vector<size_t> wantedJobs(const std::string& out, bool& kept) const;

    FileFormat format() const { return format_; }

    Page read(const std::string& file, int page) const;
    // The part that was asked for, moved as was asked for, and its grays.
    void prepare(Page& page) const;
    // `out` with {bits} and {dither} filled in. `job` is one of jobs(), and the last one of them uses the page up.
    Result make(Page& page, const Job& job, std::string out) const;
    // The same of all pages, with one optimized palette for them. Their bitmaps are in `list`, in order.
    std::vector<Result> makeTogether(BitmapList list, const std::vector<Page>& pages, const Job& job,
                                     const std::vector<std::string>& outs) const;
    // How it is written; tells the user what gets lost.
    Writing writingOf(const Result& result) const;
    // A line for the user; empty unless it was asked for.
    std::string report(Result& result) const;

  private:
    // What the library is asked for.
    struct Reduction {
        int bits;
        uint32_t flags;
        uint32_t count;  // of colours; 0: all
        std::vector<PaletteEntry> palette;

        const PaletteEntry* entries() const { return palette.empty() ? nullptr : palette.data(); }
    };

    void checkDepth(const std::string& out, int bits) const;
    void readPalette();
    // Lays a picture with alpha over the background.
    void layOver(Page& page) const;
    // The bits of a result.
    int depthOf(const Page& page, const Job& job) const;
    bool keepsPalette(const Page& page, int bits) const;
    // The colours that pixels are matched with exactly; none where the library reduces the picture.
    std::vector<PaletteEntry> exactPalette(const Page& page, const Job& job) const;
    Reduction reductionFor(const Job& job) const;
    // In black and white by the threshold; `method` says which it is.
    Bitmap parted(Page& page, std::string& method) const;
    // The last job may use the page up.
    Bitmap reduce(Page& page, const Job& job, bool last) const;
    // Makes colours or bytes of gray of it.
    void widen(Page& page) const;
    // Whether steps of geometry have to find colours that lie between those of the picture.
    bool blends(const Page& page) const;
    Bitmap matched(Page& page, int bits, const std::vector<PaletteEntry>& palette) const;
    bool packed() const { return (request_ & (MEM_COMPRESSED | MEM_SUPERCOMPRESSED)) != 0; }
    Bitmap placed(Bitmap result, const std::string& file) const;

    const PictureOptions& options_;
    FileFormat format_;
    BmpHeader header_ = BmpHeader::kFitting;
    Compression compression_ = Compression::kFitting;
    uint32_t request_;    // of memory
    int threshold_ = -1;  // -1: the best of each picture
    std::vector<Job> jobs_;
    std::vector<PaletteEntry> palette_;  // empty: the fixed, the web or an optimized palette
    bool paletteOfFile_ = false;
};

}  // namespace tool
