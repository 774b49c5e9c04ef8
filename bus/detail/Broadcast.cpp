#include "bus/detail/Broadcast.h"

#include <cassert>
#include <utility>

#include "bus/detail/MessageLayout.h"

namespace jay::detail {

const JClass Broadcast::classBroadcast = {"Broadcast", sizeof(Broadcast), &JObject::classJObject};

Broadcast::Broadcast(std::unique_ptr<M> message, int holders)
    : message_(std::move(message)),
      bytes_(message_->bytes()),
      size_(message_->size()),
      priority_(message_->getPriority()),
      holders_(holders) {
    assert(holders > 0);
}

Broadcast::~Broadcast() = default;

const JClass* Broadcast::getClass() const {
    return &classBroadcast;
}

Broadcast* Broadcast::in(JObject* item) {
    return item->getClass() == &classBroadcast ? static_cast<Broadcast*>(item) : nullptr;
}

std::unique_ptr<M> Broadcast::copyFor(int client) const {
    auto copy = std::make_unique<M>(*message_);
    copy->setDestId(client);
    return copy;
}

void Broadcast::address(char* message, int size, int client) {
    using Layout = MessageLayout;
    if (size < Layout::DEST + Layout::WORD_SIZE)
        return;  // one that an application has made: it ends before the field
    Layout::store(message, Layout::DEST, static_cast<unsigned>(client), Layout::WORD_SIZE);
}

void Broadcast::release() {
    if (holders_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace jay::detail
