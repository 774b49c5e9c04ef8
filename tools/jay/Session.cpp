#include "tools/jay/Session.h"

#include <algorithm>
#include <chrono>
#include <signal.h>
#include <string>
#include <unistd.h>

#include "bus/SM.h"
#include "system/JSystem.h"
#include "tools/jay/Console.h"
#include "tools/jay/MessageView.h"

using std::chrono::ceil;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr int LEAST_PATIENCE_MS = 2000;
constexpr int USUAL_PATIENCE_MS = 10000;
constexpr std::chrono::milliseconds LOOK_UP(
    100);  ///< how often a wait looks whether the connection is still there

/** What the messages to ourselves begin with: also of those that an earlier run was ended before it could take. */
const char PROBE[] = "jay: is anybody there? ";

std::string probeText(int id) {
    return PROBE + std::to_string(getpid()) + " " + std::to_string(JSystem::getMilliseconds()) + " " +
           std::to_string(id);
}

bool isProbe(M& m) {
    return m.getSrcId() == m.getDestId() && payloadOf(m).rfind(PROBE, 0) == 0;
}

/** Whether a bus server delivers such a message to that client of ours. What another kind of server says, even without an
 * end, shows soon that it is none. */
bool isDelivery(const Arrival& arrival) {
    M& m = *arrival.message;
    const bool sync = (m.getFlag() & M::M_FLAG_SYNC) != 0;
    if (!sync && m.getDestId() >= SM::MAX_CLIENTS) return false;
    if ((m.getFlag() & M::M_FLAG_BROADCAST) != 0) return true;
    return arrival.client == (sync ? 0 : m.getDestId());
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
    for (const int id : client.ids) {
        buses_.push_back(std::make_unique<CA>(id, client.host.c_str(), client.port));
        Inbox::get().attach(*buses_.back(), id);
        buses_.back()->start();
    }
}

Session::~Session() = default;

bool Session::connect() {
    signal(SIGHUP, SIG_DFL);  // the library has it ignored
    for (const auto& bus : buses_) {
        bus->connect();
        if (!bus->isConnected()) break;
    }
    Inbox::get().noteSignals();
    if (isConnected()) return true;
    tell(LOST, 0);
    return false;
}

bool Session::isConnected() {
    return std::all_of(buses_.begin(), buses_.end(), [](const auto& bus) { return bus->isConnected(); });
}

bool Session::send(M& message) {
    message.setSrcId(client_.id());
    return sendOver(client_.id(), message);
}

bool Session::sendOver(int id, M& message) {
    const auto place = std::find(client_.ids.begin(), client_.ids.end(), id) - client_.ids.begin();
    CA& bus = *buses_.at(static_cast<std::size_t>(place));
    return bus.put(message) != 0 && bus.isConnected();
}

int Session::patience() const {
    if (client_.timeout == FOR_EVER) return USUAL_PATIENCE_MS;
    return std::clamp(client_.timeout, LEAST_PATIENCE_MS, USUAL_PATIENCE_MS);
}

bool Session::confirm(int ms) {
    std::vector<std::string> missing = sendProbes();
    Arrival arrival;
    while (!missing.empty()) {
        const Event event = receive(arrival, ms, -1);
        if (event == MESSAGE && !isDelivery(arrival)) {
            complain("what answers at " + client_.server() + " is no bus server; is the port right?");
            return false;
        }
        if (event != MESSAGE) {
            tell(event, ms);
            return false;
        }
        proven_ = true;
        if (isProbe(*arrival.message)) {
            const auto found = std::find(missing.begin(), missing.end(), payloadOf(*arrival.message));
            if (found != missing.end()) missing.erase(found);
        } else {
            early_.push_back(std::move(arrival));
        }
    }
    return true;
}

/** One for each id. What fails is a lost connection, which receive() finds out. */
std::vector<std::string> Session::sendProbes() {
    std::vector<std::string> texts;
    for (const int id : client_.ids) {
        texts.push_back(probeText(id));
        M probe;
        probe.setSrcId(id);
        probe.setDestId(id);
        probe.addBytes(texts.back().data(), 0, static_cast<int>(texts.back().size()));
        sendOver(id, probe);
    }
    return texts;
}

Session::Event Session::next(Arrival& arrival, int ms) {
    if (!early_.empty()) {
        arrival = std::move(early_.front());
        early_.pop_front();
        return MESSAGE;
    }
    const Event event = receive(arrival, ms, STDOUT_FILENO);
    if (event == LOST) tell(event, 0);
    return event;
}

int Session::leftOver() const {
    return static_cast<int>(early_.size());
}

Status Session::failure() {
    return Inbox::get().isStopped() ? UNFINISHED : NO_SERVER;
}

Session::Event Session::receive(Arrival& arrival, int ms, int output) {
    Inbox& inbox = Inbox::get();
    const auto deadline = steady_clock::now() + milliseconds(ms);
    for (;;) {
        const bool connected = isConnected();  // before the look for a message: none comes behind it
        if (inbox.isStopped()) return STOPPED;
        if (inbox.take(arrival)) return MESSAGE;
        if (!connected) return LOST;
        const auto left = ceil<milliseconds>(deadline - steady_clock::now());
        if (ms != FOR_EVER && left <= milliseconds(0)) return TIME_UP;
        const auto pause = ms != FOR_EVER ? std::min(left, LOOK_UP) : LOOK_UP;
        if (!inbox.wait(static_cast<int>(pause.count()), output)) return OUTPUT_GONE;
    }
}

void Session::tell(Event event, int ms) const {
    if (event == STOPPED || event == OUTPUT_GONE) return;
    if (event == TIME_UP) {
        complain("no answer from " + client_.server() + " within " + std::to_string(ms) +
                 " ms; is it a bus server, and is it kept waiting by a client that says nothing?");
    } else if (proven_) {
        complain("lost the bus server at " + client_.server() +
                 "; has it ended, or does another program use the id of " + client_.name() + "?");
    } else {
        complain("cannot reach a bus server at " + client_.server() + "; is jayd running?");
    }
}
