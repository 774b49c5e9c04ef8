#include "tools/jay/Session.h"

#include <algorithm>
#include <chrono>
#include <signal.h>
#include <string>
#include <unistd.h>

#include "system/JSystem.h"
#include "tools/jay/Console.h"

using std::chrono::ceil;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr int CONFIRM_PATIENCE_MS = 10000;
constexpr std::chrono::milliseconds LOOK_UP(
    100);  ///< how often a wait looks whether the connection is still there

/** What the messages to ourselves begin with: also of those that an earlier run was ended before it could take. */
const char PROBE[] = "jay: is anybody there? ";

std::string probeText() {
    return PROBE + std::to_string(getpid()) + " " + std::to_string(JSystem::getMilliseconds());
}

std::string payloadOf(M& m) {
    m.setPos(M::HEADER_SIZE);
    const JByte bytes = m.getBytes(m.size() - M::HEADER_SIZE);
    return std::string(static_cast<const char*>(bytes), static_cast<size_t>(bytes.size()));
}

bool isProbe(M& m) {
    return m.getSrcId() == m.getDestId() && payloadOf(m).rfind(PROBE, 0) == 0;
}

/** Signals are for the main thread: the threads that are made meanwhile never see one. */
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_{};
};

}  // namespace

Session::Session(const Client& client) : client_(client) {
    const SignalsHeld held;
    bus_ = std::make_unique<CA>(client.id, client.host.c_str(), client.port);
    Inbox::get().attach(*bus_);
    bus_->start();
}

bool Session::connect() {
    signal(SIGHUP, SIG_DFL);  // the library has it ignored
    bus_->connect();
    Inbox::get().noteSignals();
    if (bus_->isConnected()) return true;
    tell(LOST);
    return false;
}

bool Session::send(M& message) {
    message.setSrcId(client_.id);
    return bus_->put(message) != 0 && bus_->isConnected();
}

bool Session::confirm() {
    const std::string text = probeText();
    M probe;
    probe.setDestId(client_.id);
    probe.addBytes(text.data(), 0, static_cast<int>(text.size()));
    send(probe);  // if it fails, the connection is lost, which receive() finds out

    Arrival arrival;
    Event event = MESSAGE;
    while ((event = receive(arrival, CONFIRM_PATIENCE_MS, -1)) == MESSAGE) {
        proven_ = true;
        if (!isProbe(*arrival.message)) {
            early_.push_back(std::move(arrival));
        } else if (payloadOf(*arrival.message) == text) {
            return true;
        }
    }
    tell(event);
    return false;
}

Session::Event Session::next(Arrival& arrival, int ms) {
    if (!early_.empty()) {
        arrival = std::move(early_.front());
        early_.pop_front();
        return MESSAGE;
    }
    const Event event = receive(arrival, ms, STDOUT_FILENO);
    if (event == LOST) tell(event);
    return event;
}

int Session::leftOver() const {
    return static_cast<int>(early_.size());
}

Session::Event Session::receive(Arrival& arrival, int ms, int output) {
    Inbox& inbox = Inbox::get();
    const auto deadline = steady_clock::now() + milliseconds(ms);
    for (;;) {
        const bool connected = bus_->isConnected();  // before the look for a message: none comes behind it
        if (inbox.isStopped()) return STOPPED;
        if (inbox.take(arrival)) return MESSAGE;
        if (!connected) return LOST;
        const auto left = ceil<milliseconds>(deadline - steady_clock::now());
        if (ms != FOR_EVER && left <= milliseconds(0)) return TIME_UP;
        const auto pause = ms != FOR_EVER ? std::min(left, LOOK_UP) : LOOK_UP;
        if (!inbox.wait(static_cast<int>(pause.count()), output)) return OUTPUT_GONE;
    }
}

void Session::tell(Event event) const {
    if (event == STOPPED || event == OUTPUT_GONE) return;
    if (event == TIME_UP) {
        complain(
            "no answer from " + client_.server() +
            " within 10 seconds; is it a bus server, and is it kept waiting by a client that says nothing?");
    } else if (proven_) {
        complain("lost the bus server at " + client_.server());
    } else {
        complain("cannot reach a bus server at " + client_.server() + "; is jayd running?");
    }
}
