#include <cstdio>

#include "commands.h"
#include "converter.h"

namespace tool {

void convert(const ConvertOptions& options) {
    const Converter converter(options, options.out);
    Page page = converter.read(options.in);
    converter.prepare(page);
    for (const Job& job : converter.jobs()) {
        Result result = converter.make(page, job, options.out);
        const std::string report = converter.report(result);
        OutputFile output(result.out);
        converter.write(result, output);
        output.commit();
        std::fputs(report.c_str(), stdout);
        std::fflush(stdout);
    }
}

}  // namespace tool
