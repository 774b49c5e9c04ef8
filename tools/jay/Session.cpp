#include "tools/jay/Session.h"

#include <algorithm>
#include <chrono>
#include <fmt/core.h>
#include <netdb.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <unistd.h>

#include "bus/SM.h"
#include "system/JSystem.h"
#include "tools/jay/Console.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/StopSignals.h"

using std::chrono::ceil;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr int LEAST_PATIENCE_MS = 2000;
constexpr int USUAL_PATIENCE_MS = 10000;
/** How often a wait looks whether the connection is still there: a bus client reports no loss. */
constexpr std::chrono::milliseconds LOOK_UP(100);

/** What the messages to ourselves begin with: also of those that an earlier run was ended before it could take. */
const char PROBE[] = "jay: is anybody there? ";

std::string probeText(int id) {
    return fmt::format("{}{} {} {}", PROBE, getpid(), JSystem::getMilliseconds(), id);
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

Session::Session(const Client& client) : client_(client), claims_(client.port) {
    for (const int id : client.ids) claims_.claim(id);  // so that no other jay takes it for a spare one
    if (client.ids.empty()) client_.ids = claims_.claimSpare(client.spares);
    const SignalsHeld held;
    for (const int id : client_.ids) {
        buses_.push_back(std::make_unique<CA>(id, client.host.c_str(), client.port));
        Mailbox::get().attach(*buses_.back(), id);
        buses_.back()->start();
    }
}

Session::~Session() = default;

Status Session::connect() {
    if (client_.ids.size() < client_.spares)
        return fail(UNFINISHED, "other jay commands use all spare ids, {} to {}; choose an id with --id",
                    IdClaims::FIRST_SPARE, SM::MAX_CLIENTS - 1);
    signal(SIGHUP, SIG_DFL);  // the library ignores it
    for (const auto& bus : buses_) {
        bus->connect();
        if (!bus->isConnected()) break;
    }
    StopSignals::watch();
    return isConnected() ? DONE : report(LOST, 0);
}

Status Session::open() {
    const Status status = connect();
    return status == DONE ? confirm(patience()) : status;
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

Status Session::confirm(int ms) {
    std::vector<std::string> missing = sendProbes();
    Arrival arrival;
    while (!missing.empty()) {
        const Event event = receive(arrival, ms, -1);
        if (event != MESSAGE) return report(event, ms);
        if (!isDelivery(arrival))
            return fail(NO_SERVER, "what answers at {} is not a bus server; is the port right?",
                        client_.server());
        proven_ = true;
        if (isProbe(*arrival.message)) {
            const auto found = std::find(missing.begin(), missing.end(), payloadOf(*arrival.message));
            if (found != missing.end()) missing.erase(found);
        } else {
            early_.push_back(std::move(arrival));
        }
    }
    return DONE;
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
    if (event == LOST) report(event, 0);
    return event;
}

int Session::leftOver() const {
    return static_cast<int>(early_.size());
}

Status Session::statusOf(Event event) {
    switch (event) {
        case TIME_UP:
            return UNFINISHED;
        case STOPPED:
            return endedBy(StopSignals::last());
        case LOST:
            return NO_SERVER;
        default:
            return DONE;
    }
}

Session::Event Session::receive(Arrival& arrival, int ms, int output) {
    Mailbox& mailbox = Mailbox::get();
    const auto deadline = steady_clock::now() + milliseconds(ms);
    for (;;) {
        const bool connected = isConnected();  // before the look for a message: none comes behind it
        if (StopSignals::last() != 0) return STOPPED;
        if (mailbox.take(arrival)) return MESSAGE;
        if (!connected) return LOST;
        const auto left = ceil<milliseconds>(deadline - steady_clock::now());
        if (ms != FOR_EVER && left <= milliseconds(0)) return TIME_UP;
        const auto pause = ms != FOR_EVER ? std::min(left, LOOK_UP) : LOOK_UP;
        pollfd entries[] = {{mailbox.descriptor(), POLLIN, 0},
                            {StopSignals::descriptor(), POLLIN, 0},
                            {output, 0, 0}};  // errors are reported unasked
        if (poll(entries, 3, static_cast<int>(pause.count())) <= 0) continue;
        if ((entries[2].revents & (POLLERR | POLLHUP)) != 0) return OUTPUT_GONE;
    }
}

/** Reports what has kept us from the server. */
Status Session::report(Event event, int ms) const {
    if (event == TIME_UP)
        return fail(
            NO_SERVER,
            "no answer from {} within {} ms; is it a bus server, or is it waiting for a client that has not "
            "greeted?",
            client_.server(), ms);
    if (event == LOST && proven_)
        return fail(NO_SERVER,
                    "lost the connection to {}; did the server end, or did another program use the id of {}?",
                    client_.server(), client_.name());
    if (event == LOST) return fail(NO_SERVER, whyNotConnected());
    return statusOf(event);
}

std::string Session::whyNotConnected() const {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(client_.host.c_str(), nullptr, &wanted, &found);
    if (error != 0) return fmt::format("cannot find the host '{}': {}", client_.host, gai_strerror(error));
    freeaddrinfo(found);
    return fmt::format("cannot reach a bus server at {}; is jayd running?", client_.server());
}
