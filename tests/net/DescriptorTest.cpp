#include "net/detail/Descriptor.h"

#include <gtest/gtest.h>
#include <memory>
#include <sys/socket.h>

#include "net/Peer.h"
#include "support/Thread.h"

using jay::detail::Descriptor;
using net::Fd;
using net::isOpen;
using support::Thread;

namespace {

class OpenDescriptorTest : public testing::Test {
protected:
    void SetUp() override {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        number = ends[0];
        other = Fd(ends[1]);
        descriptor.attach(number);
    }
    /** Whether a user gets in now, and the number. */
    int used() {
        const Descriptor::Use use(descriptor);
        return use.fd();
    }

    Descriptor descriptor;
    int number = -1;
    Fd other;
};

}  // namespace

TEST(DescriptorTest, IsClosedAtFirst) {
    Descriptor descriptor;
    EXPECT_FALSE(descriptor.isOpen());
    EXPECT_FALSE(descriptor.close());
    EXPECT_EQ(Descriptor::Use(descriptor).fd(), -1);
    descriptor.wake();
    EXPECT_FALSE(descriptor.isWoken());
}

TEST_F(OpenDescriptorTest, Attached_IsOpenForUsers) {
    EXPECT_TRUE(descriptor.isOpen());
    EXPECT_EQ(used(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST_F(OpenDescriptorTest, Close_ReleasesTheNumberOnce) {
    EXPECT_TRUE(descriptor.close());
    EXPECT_FALSE(isOpen(number));
    EXPECT_FALSE(descriptor.isOpen());
    EXPECT_EQ(used(), -1);
    const Fd next(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, number));
    ASSERT_EQ(next.number(), number);
    EXPECT_FALSE(descriptor.close());
    EXPECT_TRUE(isOpen(number));
}

TEST_F(OpenDescriptorTest, Close_WithUsers_ReleasesTheNumberWhenTheLastOneLeaves) {
    auto first = std::make_unique<Descriptor::Use>(descriptor);
    auto second = std::make_unique<Descriptor::Use>(descriptor);
    EXPECT_TRUE(descriptor.close());
    EXPECT_EQ(used(), -1) << "nobody enters any more";
    first.reset();
    EXPECT_TRUE(isOpen(number));
    EXPECT_EQ(second->fd(), number);
    second.reset();
    EXPECT_FALSE(isOpen(number));
}

TEST_F(OpenDescriptorTest, Close_WakesAReaderThatWaits) {
    Thread reader([this] {
        const Descriptor::Use use(descriptor);
        char c;
        EXPECT_EQ(recv(use.fd(), &c, 1, 0), 0);
    });
    ASSERT_TRUE(reader.fallsAsleep());
    EXPECT_TRUE(descriptor.close());
    reader.join();
    EXPECT_FALSE(isOpen(number));
}

TEST_F(OpenDescriptorTest, CloseAndLeave_LeaveErrnoAlone) {
    errno = ENOSPC;
    {
        const Descriptor::Use use(descriptor);
        ::close(number);  // so that every system call on it fails
        descriptor.close();
        EXPECT_EQ(errno, ENOSPC);
    }
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(OpenDescriptorTest, Close_ByManyThreadsWithManyUsers_ReleasesTheNumberOnce) {
    for (int round = 0; round < 200; round++) {
        std::atomic<int> closings{0};
        {
            const auto close = [&] { closings += descriptor.close() ? 1 : 0; };
            const auto use = [&] {
                while (used() >= 0) {
                }
            };
            const Thread user(use), another(use), closer(close), rival(close);
        }
        EXPECT_EQ(closings, 1);
        ASSERT_FALSE(isOpen(number));
        number = fcntl(other.number(), F_DUPFD_CLOEXEC, 0);
        descriptor.attach(number);
    }
}

TEST_F(OpenDescriptorTest, Attach_WaitsUntilTheFormerNumberIsReleased) {
    auto use = std::make_unique<Descriptor::Use>(descriptor);
    descriptor.close();
    const int next = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    Thread attaching([&] { descriptor.attach(next); });
    ASSERT_TRUE(attaching.fallsAsleep());
    EXPECT_FALSE(descriptor.isOpen());
    use.reset();
    attaching.join();
    EXPECT_EQ(used(), next);
    EXPECT_FALSE(isOpen(number));
}

TEST_F(OpenDescriptorTest, Generation_TellsOneDescriptorFromTheNext) {
    const unsigned before = descriptor.generation();
    descriptor.close();
    EXPECT_EQ(descriptor.generation(), before);
    descriptor.attach(fcntl(other.number(), F_DUPFD_CLOEXEC, 0));
    EXPECT_NE(descriptor.generation(), before);
}

TEST_F(OpenDescriptorTest, Wake_EndsAReadWithoutClosing_AndLastsUntilTheNextAttach) {
    Thread reader([this] {
        const Descriptor::Use use(descriptor);
        char c;
        EXPECT_EQ(recv(use.fd(), &c, 1, 0), 0);
        EXPECT_TRUE(descriptor.isWoken());
    });
    ASSERT_TRUE(reader.fallsAsleep());
    descriptor.wake();
    reader.join();
    EXPECT_TRUE(descriptor.isOpen());
    EXPECT_TRUE(isOpen(number));
    descriptor.close();
    descriptor.attach(fcntl(other.number(), F_DUPFD_CLOEXEC, 0));
    EXPECT_FALSE(descriptor.isWoken());
}

TEST(DescriptorTest, TheEnd_ClosesIt) {
    auto descriptor = std::make_unique<Descriptor>();
    const int number = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    descriptor->attach(number);
    descriptor.reset();
    EXPECT_FALSE(isOpen(number));
}
