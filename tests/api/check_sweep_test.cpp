// Files damaged at random: the three checks always come back, find the same twice, and change nothing.
#include "check_kinds.h"
#include "check_sweep.h"

namespace api {
namespace {

constexpr int kKnownBits = 0xf8ff;

class CheckSweep : public KindTest {
  protected:
    void SetUp() override {
        EXPECT_OK(isclose(make(24)));
        whole_ = damage().contents();
    }
    void TearDown() override {
        damage().restore(whole_);
        KindTest::TearDown();
    }
    // The damaged file may not open at all; then it must say so.
    void look() {
        iserrno = 0;
        const int fd = isopen(base(), ISINOUT | ISVARAUTO | kind().mode);
        if (fd < 0) {
            EXPECT_NE(iserrno, 0);
            return;
        }
        const Damage::Contents damaged = damage().contents();
        const Found first = found(fd);
        EXPECT_EQ(first, found(fd));
        for (const int bits : first.indexes)
            EXPECT_EQ(bits & ~kKnownBits, 0);
        EXPECT_EQ((first.data | first.tails) & ~kKnownBits, 0);
        EXPECT_TRUE(damaged == damage().contents());
        // How a tail is coded is not looked at, nor how long a record may be.
        const bool longer = kind().tails() && damage().files().header().variableMaximum < kVarMax;
        if (first == sound() && (kind().mode & ISCOMPRESS) == 0 && !longer) readAll(fd);
        EXPECT_OK(isclose(fd));
    }
    // What the checks call sound can be read.
    void readAll(int fd) {
        std::vector<char> buffer(ISMAXVARLEN);
        for (int index = kind().records ? 0 : 1; index <= kind().indexes(); ++index) {
            EXPECT_OK(isindex(fd, index, 0));
            int mode = ISFIRST;
            while (isread(fd, buffer.data(), mode) == 0)
                mode = ISNEXT;
            EXPECT_EQ(iserrno, ISERR_ENDOFFILE) << "index " << index;
        }
    }
    Damage::Contents whole_;
};

TEST_P(CheckSweep, DamageAnywhere) {
    EXPECT_EQ(sweep(300,
                    [&](int i) {
                        damage().restore(whole_);
                        Dice dice(static_cast<std::uint32_t>(i));
                        scatterDamage(damage(), dice);
                        look();
                    }),
              0);
}

TEST_P(CheckSweep, EachByteOfTheHeader) {
    EXPECT_EQ(sweep(90 * 4,
                    [&](int i) {
                        damage().restore(whole_);
                        const int offset = i / 4;
                        const std::uint8_t byte = whole_.index[static_cast<std::size_t>(offset)];
                        const std::uint8_t values[] = {static_cast<std::uint8_t>(byte + 1),
                                                       static_cast<std::uint8_t>(byte ^ 0x80U), 0xff, 0};
                        damage().indexByte(offset, values[i % 4]);
                        look();
                    }),
              0);
}

TEST_P(CheckSweep, IndexFileCutOffAnywhere) {
    const auto size = static_cast<std::int64_t>(whole_.index.size());
    const std::int64_t step = 419;
    EXPECT_EQ(sweep(static_cast<int>(size / step),
                    [&](int i) {
                        damage().restore(whole_);
                        damage().cutIndex(i * step);
                        look();
                    }),
              0);
}

TEST_P(CheckSweep, DataFileCutOffAnywhere) {
    const auto size = static_cast<int>(whole_.data.size());
    EXPECT_EQ(sweep(size / 7,
                    [&](int i) {
                        damage().restore(whole_);
                        damage().cutData(i * 7L);
                        look();
                    }),
              0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckSweep, testing::ValuesIn(allKinds()), kindName);

}  // namespace
}  // namespace api
