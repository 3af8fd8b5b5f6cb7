// Every operation on pixel data gives the same in every kind of storage as in plain memory.
#include "support/bitmap_operations.h"

#include <gtest/gtest.h>

#include <random>

#include "support/picture.h"

namespace tnk::test {
namespace {

class Operations : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, Operations, ::testing::ValuesIn(kAllKinds), kindName);

TEST_P(Operations, LikePlainMemory) {
    std::mt19937 random(4711);
    for (const auto& format : kFormats) {
        // The widest rows have runs of more than 65,535 pixels, and several chunks of packed rows.
        for (const int32_t width : {1, 37, 200, 140'003 / format.bits}) {
            SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order << ", width " << width);
            StoredBitmap subject(GetParam(), width, 41, format), model(Kind::section, width, 41, format);
            std::vector<uint8_t> script(width > 1000 ? 150 : 800);
            for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
            OperationPair pair(subject.record, model.record, Script(script.data(), script.size()));
            ASSERT_STREQ(pair.run(), nullptr);
        }
    }
}

}  // namespace
}  // namespace tnk::test
