#include "bus/detail/Broadcast.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "bus/Wire.h"

using bus::to;
using bus::Wire;
using jay::detail::Broadcast;

namespace {

/** A message that tells when it goes. */
class Tracked : public M {
public:
    Tracked(const Wire& w, bool& gone) : M(bus::message(w)), gone_(gone) {}
    ~Tracked() override { gone_ = true; }

private:
    bool& gone_;
};

const Wire MESSAGE = to(31).from(3).urgency(2).stamped(9).about(8).says("all");

TEST(BroadcastTest, LivesAsLongAsOneQueueHoldsIt) {
    bool gone = false;
    auto* const broadcast = new Broadcast(std::make_unique<Tracked>(MESSAGE, gone), 3);
    for (int i = 0; i < 2; i++) {
        broadcast->release();
        EXPECT_FALSE(gone);
    }
    broadcast->release();
    EXPECT_TRUE(gone);
}

TEST(BroadcastTest, ShowsItsBytesWithTheTrueLength) {
    auto* const broadcast = new Broadcast(std::make_unique<M>(bus::message(Wire(MESSAGE).claims(9))), 1);
    EXPECT_EQ(std::string(broadcast->bytes(), static_cast<std::size_t>(broadcast->size())), MESSAGE.bytes());
    EXPECT_EQ(broadcast->priority(), 2);
    broadcast->release();
}

TEST(BroadcastTest, CopyFor_HasTheReceiverAsDestination) {
    auto* const broadcast = new Broadcast(std::make_unique<M>(bus::message(MESSAGE)), 1);
    const std::unique_ptr<M> copy = broadcast->copyFor(7);
    broadcast->release();
    EXPECT_EQ(bus::wire(*copy), Wire(MESSAGE).to(7).claims(19));
}

TEST(BroadcastTest, In_TellsBroadcastsFromMessages) {
    auto* const broadcast = new Broadcast(std::make_unique<M>(), 1);
    M m;
    EXPECT_EQ(Broadcast::in(broadcast), broadcast);
    EXPECT_EQ(Broadcast::in(&m), nullptr);
    broadcast->release();
}

TEST(BroadcastTest, Address_WritesTheDestination_IfThereIsRoom) {
    std::string bytes = MESSAGE.bytes();
    Broadcast::address(&bytes[0], static_cast<int>(bytes.size()), 0x0102);
    EXPECT_EQ(bytes, Wire(MESSAGE).to(0x0102).bytes());
    std::string shorter(3, 'x');
    Broadcast::address(&shorter[0], 3, 7);
    EXPECT_EQ(shorter, "xxx");
}

}  // namespace
