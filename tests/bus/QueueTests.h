/** @file What holds for both queues of the bus: MQTest.cpp and LQTest.cpp run these tests on theirs. */
#ifndef JAY_TESTS_BUS_QUEUETESTS_H
#define JAY_TESTS_BUS_QUEUETESTS_H

#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bus/M.h"
#include "bus/Wire.h"
#include "support/JEventPeer.h"
#include "support/JQueuePeer.h"
#include "support/Thread.h"
#include "thread/JEvent.h"
#include "thread/JQueue.h"

namespace bus {

using jay::detail::JQueuePeer;

/**
 * A queue's owner, with none of its threads running: it and its event; the queue's peer; the rule for the bands; a message for each band; and
 * in which order two messages of each band are destroyed with the queue, as 10 * band + 0 or 1.
 */
template <class Queue>
struct QueueOwner;

/** A message that tells when it goes. */
class Tracked : public M {
public:
    explicit Tracked(const Wire& w, std::function<void()> whenDestroyed)
        : M(bus::message(w)), whenDestroyed_(std::move(whenDestroyed)) {}
    ~Tracked() override { whenDestroyed_(); }
    Tracked(const Tracked&) = delete;
    Tracked& operator=(const Tracked&) = delete;

private:
    std::function<void()> whenDestroyed_;
};

template <class Queue>
class BusQueueTest : public testing::Test {
protected:
    using Peer = typename QueueOwner<Queue>::Peer;

    static constexpr int BANDS = Peer::BANDS;
    JLock& lock() { return Peer::lock(*queue); }
    typename Peer::Bands& bands() { return Peer::bands(*queue); }
    bool& closed() { return Peer::closed(*queue); }

    int add(const Wire& w) {
        M m = bus::message(w);
        return queue->add(m);
    }
    int add(int flag, int priority, unsigned number) {
        return add(Wire().flagged(flag).urgency(priority).about(number));
    }

    std::unique_ptr<M> get() { return std::unique_ptr<M>(queue->get()); }

    /** The number of the next message; -1 when there is none. */
    int next() {
        const std::unique_ptr<M> m = get();
        return m != nullptr ? m->getSection() : -1;
    }

    int signals() { return owner.event().count(); }

    QueueOwner<Queue> owner;
    std::unique_ptr<Queue> queue{new Queue(owner.get())};
};

TYPED_TEST_SUITE_P(BusQueueTest);

TYPED_TEST_P(BusQueueTest, New_IsOpenWithEmptyBandsOfSegmentsOf1000AndNoBound) {
    EXPECT_FALSE(this->closed());
    EXPECT_TRUE(this->queue->isEmpty());
    EXPECT_EQ(this->queue->get(), nullptr);
    for (JQueue* band : this->bands()) {
        EXPECT_TRUE(band->isEmpty());
        EXPECT_EQ(JQueuePeer::segment(*band), 1000);
        EXPECT_EQ(JQueuePeer::capacity(*band), INT_MAX);
        EXPECT_EQ(JQueuePeer::resume(*band), INT_MAX);
    }
    EXPECT_EQ(this->signals(), 0);
}

TYPED_TEST_P(BusQueueTest, Add_ChoosesTheBandByFlagAndPriority) {
    M m;
    for (int flag = 0; flag < 256; flag++) {
        for (int priority = 0; priority < 256; priority++) {
            m.setFlag(flag);
            m.setPriority(priority);
            ASSERT_EQ(QueueOwner<TypeParam>::chosen(m), QueueOwner<TypeParam>::band(flag, priority))
                << "flag " << flag << " priority " << priority;
        }
    }
    const std::vector<Wire> messages = QueueOwner<TypeParam>::oneForEachBand();
    ASSERT_EQ(static_cast<int>(messages.size()), TestFixture::BANDS);
    for (int band = 0; band < TestFixture::BANDS; band++) {
        this->add(messages[static_cast<std::size_t>(band)]);
        for (int i = 0; i < TestFixture::BANDS; i++) EXPECT_EQ(this->bands()[i]->size(), i <= band ? 1 : 0);
    }
}

TYPED_TEST_P(BusQueueTest, Add_QueuesACopyAndLeavesTheMessageToItsOwner) {
    M m;
    m.setSection(1);
    m.addString("abc");
    m.setPos(18);
    this->queue->add(m);
    EXPECT_EQ(m.getPos(), 18);
    m.setSection(2);
    const std::unique_ptr<M> copy = this->get();
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy.get(), &m);
    EXPECT_EQ(copy->getSection(), 1);
    EXPECT_EQ(copy->getPos(), 0);
    EXPECT_EQ(copy->size(), 20);
    EXPECT_EQ(m.getSection(), 2);
}

TYPED_TEST_P(BusQueueTest, Add_NotifiesTheOwnerOfEachMessageAndReturnsItsResult) {
    for (int i = 1; i <= 5; i++) {
        EXPECT_EQ(this->add(0, i, 0), 0);
        EXPECT_EQ(this->signals(), i);
    }
}

TYPED_TEST_P(BusQueueTest, Add_NotifiesTheOwnerAlsoWhenTheBandRefuses) {
    for (JQueue* band : this->bands()) JQueuePeer::setCapacity(*band, 0);
    this->add(0, 0, 1);
    EXPECT_EQ(this->signals(), 1);
    EXPECT_EQ(this->queue->get(), nullptr);
}

TYPED_TEST_P(BusQueueTest, Get_ServesTheBandsInOrderAndEachInOrderOfArrival) {
    const std::vector<Wire> messages = QueueOwner<TypeParam>::oneForEachBand();
    unsigned number = 0;
    for (int round = 0; round < 3; round++)
        for (std::size_t i = messages.size(); i-- > 0;) this->add(Wire(messages[i]).about(number++));
    const int bands = TestFixture::BANDS;
    for (int band = 0; band < bands; band++)
        for (int round = 0; round < 3; round++) EXPECT_EQ(this->next(), round * bands + bands - 1 - band);
    EXPECT_EQ(this->next(), -1);
}

TYPED_TEST_P(BusQueueTest, Get_TakesTheMostUrgentOfWhatIsThereNow) {
    const std::vector<Wire> messages = QueueOwner<TypeParam>::oneForEachBand();
    for (std::size_t i = messages.size(); i-- > 0;) {
        this->add(Wire(messages[i]).about(static_cast<unsigned>(i)));
        this->add(Wire(messages.back()).about(99));
        EXPECT_EQ(this->next(), static_cast<int>(i));
    }
}

TYPED_TEST_P(BusQueueTest, Get_HandsTheMessageOver) {
    this->add(0, 0, 7);
    const std::unique_ptr<M> m = this->get();
    this->queue.reset();
    EXPECT_EQ(m->getSection(), 7);
}

TYPED_TEST_P(BusQueueTest, IsEmpty_OnlyWhenEveryBandIs) {
    for (const Wire& w : QueueOwner<TypeParam>::oneForEachBand()) {
        this->add(w);
        EXPECT_FALSE(this->queue->isEmpty());
        this->get();
        EXPECT_TRUE(this->queue->isEmpty());
    }
}

TYPED_TEST_P(BusQueueTest, Size_CountsTheMessagesOfAllBands) {
    int expected = 0;
    EXPECT_EQ(this->queue->size(), 0);
    for (const Wire& w : QueueOwner<TypeParam>::oneForEachBand()) {
        for (int i = 0; i < 3; i++) {
            this->add(w);
            EXPECT_EQ(this->queue->size(), ++expected);
        }
    }
    while (this->get() != nullptr) EXPECT_EQ(this->queue->size(), --expected);
    EXPECT_EQ(expected, 0);
}

TYPED_TEST_P(BusQueueTest, Size_OfAClosedQueueIs0) {
    this->add(0, 0, 1);
    this->closed() = true;
    EXPECT_EQ(this->queue->size(), 0);
    this->closed() = false;
    EXPECT_EQ(this->queue->size(), 1);
}

TYPED_TEST_P(BusQueueTest, SlowConsumer_LosesNothing) {
    std::mt19937 random(1);
    std::vector<std::vector<int>> expected(TestFixture::BANDS);
    for (int i = 0; i < 5000; i++) {
        const int flag = random() % 8 == 0 ? static_cast<int>(random() % 8) : 0;
        const int priority = static_cast<int>(random() % 4);
        this->add(flag, priority, static_cast<unsigned>(i));
        expected[static_cast<std::size_t>(QueueOwner<TypeParam>::band(flag, priority))].push_back(i);
    }
    for (const std::vector<int>& band : expected)
        for (const int number : band) ASSERT_EQ(this->next(), number);
    EXPECT_EQ(this->next(), -1);
    EXPECT_TRUE(this->queue->isEmpty());
}

TYPED_TEST_P(BusQueueTest, FlaggedMessageBehind5000Others_IsTakenFirst) {
    for (unsigned i = 0; i < 5000; i++) this->add(0, static_cast<int>(i % 3), i);
    this->add(SYNC, 255, 5000);
    EXPECT_EQ(this->next(), 5000);
    EXPECT_EQ(this->next(), 0);
}

// ---- taking over ----

TYPED_TEST_P(BusQueueTest, Adopt_TakesTheMessageItself) {
    auto* const m = new M;
    m->setSection(7);
    EXPECT_EQ(this->queue->adopt(m), 0);
    EXPECT_EQ(this->signals(), 1);
    EXPECT_EQ(this->get().get(), m);
}

TYPED_TEST_P(BusQueueTest, Adopt_DestroysAMessageThatIsNotQueued) {
    int destroyed = 0;
    for (JQueue* band : this->bands()) JQueuePeer::setCapacity(*band, 0);
    this->queue->adopt(new Tracked(Wire(), [&] { destroyed++; }));
    EXPECT_EQ(destroyed, 1);
    this->closed() = true;
    this->queue->adopt(new Tracked(Wire(), [&] { destroyed++; }));
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(this->signals(), 2);
}

// ---- the end ----

TYPED_TEST_P(BusQueueTest, Closed_QueuesAndYieldsNothingButStillNotifies) {
    this->add(0, 0, 1);
    this->closed() = true;
    EXPECT_EQ(this->add(0, 0, 2), 0);
    EXPECT_EQ(this->signals(), 2);
    EXPECT_EQ(this->queue->get(), nullptr);
    EXPECT_FALSE(this->queue->isEmpty());
    this->closed() = false;
    EXPECT_EQ(this->next(), 1);
    EXPECT_EQ(this->next(), -1);
}

TYPED_TEST_P(BusQueueTest, Destructor_DestroysWhatIsStillQueuedBandByBand) {
    std::vector<int> destroyed;
    int band = 0;
    for (const Wire& w : QueueOwner<TypeParam>::oneForEachBand()) {
        for (int i = 0; i < 2; i++)
            this->queue->adopt(new Tracked(w, [&destroyed, band, i] { destroyed.push_back(10 * band + i); }));
        band++;
    }
    this->queue.reset();
    EXPECT_EQ(destroyed, QueueOwner<TypeParam>::destroyedInOrder());
}

TYPED_TEST_P(BusQueueTest, Destructor_WhileItRunsNothingComesInOrOut) {
    const int first = QueueOwner<TypeParam>::destroyedInOrder()[0] / 10;
    const Wire w = QueueOwner<TypeParam>::oneForEachBand()[static_cast<std::size_t>(first)];
    TypeParam& dying = *this->queue;
    int looks = 0;
    int refused = 0;
    const auto look = [&] {
        if (++looks == 2) return;
        EXPECT_TRUE(QueueOwner<TypeParam>::Peer::closed(dying));
        EXPECT_EQ(dying.get(), nullptr);
        EXPECT_FALSE(dying.isEmpty());
        dying.adopt(new Tracked(w, [&refused] { refused++; }));
        EXPECT_EQ(refused, 1);
    };
    for (int i = 0; i < 2; i++) dying.adopt(new Tracked(w, look));
    this->queue.reset();
    EXPECT_EQ(looks, 2);
    EXPECT_EQ(refused, 1);
    EXPECT_EQ(this->signals(), 3);
}

// ---- threads ----

TYPED_TEST_P(BusQueueTest, Lock_IsHeldByEveryOperation) {
    M m;
    const std::vector<std::function<void()>> operations = {
        [&] { this->queue->add(m); }, [&] { this->get(); },         [&] { this->queue->isEmpty(); },
        [&] { this->queue->size(); }, [&] { this->queue.reset(); },
    };
    for (const std::function<void()>& operation : operations) {
        JLock& lock = this->lock();
        lock.lock();
        support::Thread thread(operation);
        EXPECT_TRUE(thread.fallsAsleep());
        EXPECT_FALSE(thread.isFinished());
        lock.unlock();
        thread.join();
        EXPECT_TRUE(thread.isFinished());
    }
}

TYPED_TEST_P(BusQueueTest, Lock_IsFreeWhenTheOwnerIsNotified) {
    M m;
    auto inTheWay = std::make_unique<jay::detail::JEventPeer::Held>(this->owner.event());
    support::Thread producer([&] { this->queue->add(m); });
    EXPECT_TRUE(support::eventually([&] { return !this->queue->isEmpty(); }));
    EXPECT_TRUE(producer.fallsAsleep());
    EXPECT_NE(this->get(), nullptr);
    EXPECT_FALSE(producer.isFinished());
    inTheWay.reset();
    producer.join();
    EXPECT_TRUE(this->queue->isEmpty());
}

TYPED_TEST_P(BusQueueTest, ManyProducers_EachKeepsItsOrderWithinABand) {
    constexpr int PRODUCERS = 4;
    constexpr int EACH = 1500;
    std::vector<std::unique_ptr<support::Thread>> producers;
    for (int p = 0; p < PRODUCERS; p++) {
        producers.emplace_back(new support::Thread([this, p] {
            for (unsigned i = 0; i < EACH; i++)
                this->add(Wire().from(p).urgency(static_cast<int>(i % 3)).about(i));
        }));
    }
    std::vector<std::vector<int>> last(PRODUCERS, std::vector<int>(TestFixture::BANDS, -1));
    for (int taken = 0; taken < PRODUCERS * EACH;) {
        const std::unique_ptr<M> m = this->get();
        if (m == nullptr) {
            ASSERT_NE(this->owner.event().wait(30000), -1);
            continue;
        }
        taken++;
        int& before = last[static_cast<std::size_t>(m->getSrcId())]
                          [static_cast<std::size_t>(QueueOwner<TypeParam>::chosen(*m))];
        ASSERT_GT(m->getSection(), before);
        before = m->getSection();
    }
    producers.clear();
    EXPECT_TRUE(this->queue->isEmpty());
}

REGISTER_TYPED_TEST_SUITE_P(
    BusQueueTest, New_IsOpenWithEmptyBandsOfSegmentsOf1000AndNoBound, Add_ChoosesTheBandByFlagAndPriority,
    Add_QueuesACopyAndLeavesTheMessageToItsOwner, Add_NotifiesTheOwnerOfEachMessageAndReturnsItsResult,
    Add_NotifiesTheOwnerAlsoWhenTheBandRefuses, Get_ServesTheBandsInOrderAndEachInOrderOfArrival,
    Get_TakesTheMostUrgentOfWhatIsThereNow, Get_HandsTheMessageOver, IsEmpty_OnlyWhenEveryBandIs,
    Size_CountsTheMessagesOfAllBands, Size_OfAClosedQueueIs0, SlowConsumer_LosesNothing,
    FlaggedMessageBehind5000Others_IsTakenFirst, Adopt_TakesTheMessageItself,
    Adopt_DestroysAMessageThatIsNotQueued, Closed_QueuesAndYieldsNothingButStillNotifies,
    Destructor_DestroysWhatIsStillQueuedBandByBand, Destructor_WhileItRunsNothingComesInOrOut,
    Lock_IsHeldByEveryOperation, Lock_IsFreeWhenTheOwnerIsNotified,
    ManyProducers_EachKeepsItsOrderWithinABand);

}  // namespace bus

#endif
