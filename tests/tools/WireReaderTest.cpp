#include "tools/jay/WireReader.h"

#include <gtest/gtest.h>
#include <string>

#include "bus/M.h"

namespace {

std::string message(int destination, int source, const std::string& payload, int flag = 0) {
    M m;
    m.setDestId(destination);
    m.setSrcId(source);
    m.setFlag(flag);
    m.addBytes(payload.data(), 0, static_cast<int>(payload.size()));
    const JByte bytes = m.toByteArray();
    return std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(bytes.size()));
}

TEST(WireReaderTest, FindsMessagesAndTheirOffsets) {
    const std::string first = message(7, 5, "hello"), second = message(0, 5, "");
    const std::string bytes = first + second;
    WireReader reader(bytes, WireReader::STOP_AT_DAMAGE);
    std::string_view found;
    ASSERT_TRUE(reader.next(found));
    EXPECT_EQ(found, first);
    EXPECT_EQ(reader.offset(), 0U);
    ASSERT_TRUE(reader.next(found));
    EXPECT_EQ(found, second);
    EXPECT_EQ(reader.offset(), first.size());
    EXPECT_FALSE(reader.next(found));
    EXPECT_EQ(reader.damage(), "");
    EXPECT_EQ(reader.offset(), bytes.size());
}

TEST(WireReaderTest, TellsWhereACutCaptureEnds) {
    const std::string whole = message(7, 5, "hello");
    for (std::size_t length = 1; length < 2 * whole.size(); length++) {
        if (length == whole.size()) continue;
        const std::string bytes = (whole + whole).substr(0, length);
        WireReader reader(bytes, WireReader::STOP_AT_DAMAGE);
        std::string_view found;
        while (reader.next(found)) EXPECT_EQ(found, whole);
        EXPECT_NE(reader.damage().find(length % whole.size() < 16 ? "a header is cut" : "a message is cut"),
                  std::string::npos);
        EXPECT_EQ(reader.offset(), length / whole.size() * whole.size());
    }
}

struct Flaw {
    std::string header;
    const char* text;
};

TEST(WireReaderTest, EndsAtAHeaderThatCannotBeOneOrReadsItAsAReceiverDoes) {
    std::string tooShort = message(7, 5, "");
    tooShort[0] = 8;
    const Flaw flaws[] = {{tooShort, "the length is 8, less than the header's 16"},
                          {message(32, 5, ""), "the destination is client 32, but ids end at 31"},
                          {message(7, 40, ""), "the source is client 40, but ids end at 31"}};
    for (const Flaw& flaw : flaws) {
        std::string_view found;
        WireReader strict(flaw.header, WireReader::STOP_AT_DAMAGE);
        EXPECT_FALSE(strict.next(found));
        EXPECT_EQ(strict.damage(), flaw.text);
        EXPECT_FALSE(WireReader::mayBeHeader(flaw.header));
        WireReader lenient(flaw.header, WireReader::AS_A_RECEIVER);
        EXPECT_TRUE(lenient.next(found));
        EXPECT_EQ(lenient.oddity(), flaw.text);
        EXPECT_EQ(found.size(), 16U);
        EXPECT_FALSE(lenient.next(found));
        EXPECT_EQ(lenient.damage(), "");
    }
}

TEST(WireReaderTest, LetsAWakeUpRequestHaveAnyDestination) {
    EXPECT_TRUE(WireReader::mayBeHeader(message(40, 5, "", M::M_FLAG_SYNC)));
    EXPECT_FALSE(WireReader::mayBeHeader(message(7, 5, "").substr(0, 15)));
}

}  // namespace
