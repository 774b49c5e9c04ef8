#include "thread/JQueue.h"

#include <cassert>
#include <climits>
#include <memory>

const JClass JQueue::classJQueue = {"JQueue", sizeof(JQueue), &JObject::classJObject};

static_assert(sizeof(void*) != 4 || sizeof(JQueue) == 48, "instance size on 32-bit targets");
static_assert(sizeof(void*) != 4 || sizeof(JQueue::JQueueEntry) == 12, "instance size on 32-bit targets");

namespace {

/** One more, wrapping around: a long-lived queue passes more than 2147483647 items. */
int successor(int counter) {
    return static_cast<int>(static_cast<unsigned>(counter) + 1u);
}

}  // namespace

JQueue::JQueueEntry::JQueueEntry(int segment)
    : next(nullptr), slots(new JObject*[static_cast<size_t>(segment)]()) {
}

JQueue::JQueueEntry::~JQueueEntry() {
    delete[] slots;
}

JQueue::JQueue(int highMark, int resumeMark, int segmentSize)
    : capacity(highMark),
      resume(resumeMark),
      segment(segmentSize < 1 ? 1 : segmentSize),
      tail(nullptr),
      head(nullptr),
      readIndex(0),
      writeIndex(0),
      count(0),
      full(false),
      inputCount(0),
      outputCount(0) {
    initialize();
}

JQueue::JQueue(int highMark, int segmentSize) : JQueue(highMark, highMark, segmentSize) {
}

JQueue::JQueue(int segmentSize) : JQueue(INT_MAX, INT_MAX, segmentSize) {
}

JQueue::~JQueue() {
    clearAll();
}

const JClass* JQueue::getClass() const {
    return &classJQueue;
}

/** What the class comment says of the segments, and what holds after every operation. */
void JQueue::assertInvariant() const {
    assert(count >= 0);
    assert(static_cast<unsigned>(inputCount) - static_cast<unsigned>(outputCount) ==
           static_cast<unsigned>(count));
    assert((head == nullptr) == (tail == nullptr));
    if (head == nullptr) {
        assert(count == 0);
        return;
    }
    assert(tail->next == nullptr);
    assert(readIndex >= 0 && readIndex < segment);
    assert(writeIndex >= 0 && writeIndex < segment);
    assert(head != tail || writeIndex - readIndex == count);
}

void JQueue::initialize() {
    JQueueEntry* const first = new JQueueEntry(segment);
    clearAll();
    head = tail = first;
    readIndex = writeIndex = count = 0;
    full = false;
    inputCount = outputCount = 0;
    assertInvariant();
}

int JQueue::put(JObject& item) {
    return full ? FULL : put2(item);
}

int JQueue::put2(JObject& item) {
    if (!hasRoom()) return FULL;
    std::unique_ptr<JObject> copy(item.clone());
    append(copy.get());
    copy.release();
    return OK;
}

int JQueue::adopt(JObject* item) {
    if (full || !hasRoom()) return FULL;
    append(item);
    return OK;
}

/** Whether one more item may come in; a refusal for want of room is remembered. */
bool JQueue::hasRoom() {
    if (tail == nullptr) return false;
    if (count >= capacity) full = true;
    return count < capacity;
}

/** Whatever may throw comes first; what changes the queue cannot. */
void JQueue::append(JObject* item) {
    const bool fillsSegment = writeIndex + 1 == segment;
    std::unique_ptr<JQueueEntry> following(fillsSegment ? new JQueueEntry(segment) : nullptr);
    tail->slots[writeIndex] = item;
    ++writeIndex;
    if (fillsSegment) {
        writeIndex = 0;
        tail->next = following.get();
        tail = following.release();
    }
    ++count;
    inputCount = successor(inputCount);
    assertInvariant();
}

JObject* JQueue::get() {
    if (count <= 0) return nullptr;
    JObject* const item = removeOldest();
    if (count <= resume) full = false;
    return item;
}

JObject* JQueue::removeOldest() {
    JObject* const item = head->slots[readIndex];
    head->slots[readIndex] = nullptr;
    ++readIndex;
    if (readIndex == segment) {
        readIndex = 0;
        const std::unique_ptr<JQueueEntry> exhausted(head);
        head = head->next;
    }
    --count;
    outputCount = successor(outputCount);
    assertInvariant();
    return item;
}

JObject* JQueue::peek() const {
    return peek(0);
}

JObject* JQueue::peek(int ahead) const {
    if (ahead < 0 || ahead >= count) return nullptr;
    const JQueueEntry* entry = head;
    int index = ahead;
    for (int left = segment - readIndex; index >= left; left = segment) {
        index -= left;
        entry = entry->next;
    }
    return entry->slots[entry == head ? readIndex + index : index];
}

bool JQueue::isEmpty() const {
    return count < 1;
}

bool JQueue::isFull() const {
    return full || count >= capacity;
}

int JQueue::size() const {
    return count;
}

int JQueue::input() const {
    return inputCount;
}

int JQueue::output() const {
    return outputCount;
}

void JQueue::clearAll() {
    while (count > 0) delete removeOldest();
    delete head;
    head = tail = nullptr;
    assertInvariant();
}

void JQueue::clear() {
    clearAll();
    initialize();
}
