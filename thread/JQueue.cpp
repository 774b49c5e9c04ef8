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
    return full ? FULL : appendCopy(item);
}

int JQueue::put2(JObject& item) {
    return appendCopy(item);
}

inline int JQueue::appendCopy(JObject& item) {
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
inline bool JQueue::hasRoom() {
    if (tail == nullptr) return false;
    if (count >= capacity) full = true;
    return count < capacity;
}

inline void JQueue::append(JObject* item) {
    assertInvariant();
    if (writeIndex + 1 == segment) return appendLast(item);
    tail->slots[writeIndex] = item;
    ++writeIndex;
    ++count;
    inputCount = successor(inputCount);
}

// The two rare cases are functions of their own. The usual path then saves no registers, which halves its time.

/** Into the last free slot of the tail. Whatever may throw comes first; what changes the queue cannot. */
__attribute__((noinline)) void JQueue::appendLast(JObject* item) {
    JQueueEntry* const following = new JQueueEntry(segment);
    tail->slots[writeIndex] = item;
    writeIndex = 0;
    tail->next = following;
    tail = following;
    ++count;
    inputCount = successor(inputCount);
}

JObject* JQueue::get() {
    if (count <= 0) return nullptr;
    if (count - 1 <= resume) full = false;
    return removeOldest();
}

inline JObject* JQueue::removeOldest() {
    assertInvariant();
    JObject* const item = head->slots[readIndex];
    head->slots[readIndex] = nullptr;
    --count;
    outputCount = successor(outputCount);
    ++readIndex;
    return readIndex == segment ? leaveSegment(item) : item;
}

/** Frees the exhausted segment, and returns the item that came out of it. */
__attribute__((noinline)) JObject* JQueue::leaveSegment(JObject* item) {
    JQueueEntry* const exhausted = head;
    head = head->next;
    readIndex = 0;
    delete exhausted;
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
