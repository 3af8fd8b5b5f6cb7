#include <cstdio>

#include "commands.h"
#include "converter.h"
#include "progress.h"

namespace tool {

void convert(const ConvertOptions& options) {
    const Converter converter(options, options.out);
    bool kept = false;
    const std::vector<size_t> jobs = converter.wantedJobs(options.out, kept);
    if (!jobs.empty()) {
        Page page = converter.read(options.in, options.page ? options.page - 1 : 0);
        if (page.pages > 1 && !options.page) {
            complain("note: " + options.in + ": the first of " + std::to_string(page.pages) +
                     " pages; --page takes another one, tnk pages takes all");
        }
        converter.prepare(page);
        for (const size_t job : jobs) {
            Result result = converter.make(page, converter.jobs()[job], options.out);
            const std::string report = converter.report(result);
            OutputFile output(result.out);
            writePicture(converter.format(), result.page.bitmap, output, converter.writingOf(result));
            output.commit();
            tell(output.reports(), report);
        }
    }
    if (kept) throw toldFailure();
}

}  // namespace tool
