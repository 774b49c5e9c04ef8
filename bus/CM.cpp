#include "bus/CM.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "bus/JMessage.h"
#include "bus/M.h"
#include "bus/SM.h"
#include "net/JDataInputStream.h"
#include "net/JServerSocket.h"
#include "net/JSocket.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/ScopedLock.h"

using jay::detail::ScopedLock;

const JClass CM::classCM = {"CM", sizeof(CM), &JObject::classJObject};

namespace {
constexpr int FAILURE_PAUSE_MS = 100;
}

CM::CM(SM* manager, int listenPort)
    : sm(manager), port(listenPort), serverSocket(nullptr), stopFlag(false), greeted(nullptr) {
}

CM::~CM() {
    const jay::detail::CancelOff off;
    stop();
    finish();
    delete serverSocket;
    for (JSocket* socket : leftBehind) delete socket;
}

const JClass* CM::getClass() const {
    return &classCM;
}

void CM::stop() {
    const ScopedLock guard(lock);
    stopFlag = true;
    if (serverSocket != nullptr) serverSocket->close();
    if (greeted != nullptr) greeted->wakeUp();
}

void CM::run() {
    if (!openListener()) return;
    for (;;) {
        errno = 0;  // accept() looks at errno as it stands; this way a quiet second gives null
        JSocket* socket = serverSocket->accept();
        const int error = errno;
        if (stopFlag) {
            delete socket;
            return;
        }
        releaseLeftBehind();
        if (socket != nullptr && refuses(*socket)) {
            delete socket;
        } else if (socket != nullptr) {
            greet(socket);
        } else if (error != 0) {
            JSystem::sleep(FAILURE_PAUSE_MS);  // no descriptor left, or no port: it would fail again at once
        }
    }
}

/** False when the listener was stopped before it began. */
bool CM::openListener() {
    {
        const ScopedLock guard(lock);
        if (stopFlag) return false;
        serverSocket = new JServerSocket(port);
    }
    sm->listening(serverSocket->getError());
    return true;
}

/**
 * The system lets no packet in that comes from elsewhere with an address of this machine as its sender, so a peer that has
 * our end's address, or one of loopback, is here.
 */
bool CM::isFromHere(JSocket& socket) {
    const char* const peer = socket.getHost();
    return std::strncmp(peer, "127.", 4) == 0 ||
           std::strcmp(peer, socket.getLocalAddress().getHostAddress()) == 0;
}

bool CM::refuses(JSocket& socket) {
    if (!sm->localOnly || isFromHere(socket)) return false;
    JSystem::debug("CM>> %s is another machine, closed!!!\n", socket.getHost());
    return true;
}

void CM::greet(JSocket* socket) {
    socket->setTcpNoDelay(true);
    JByte header(M::HEADER_SIZE);
    JDataInputStream in(socket->getInputStream());
    beginGreeting(socket);
    const int n = in.readFully(header, 0, M::HEADER_SIZE);
    endGreeting();

    if (n < 0 && socket->isReadTimeout()) {
        leftBehind.push_back(socket);  // neither closed nor logged: kept
        return;
    }
    if (n <= 0) {
        delete socket;
        JSystem::debug("CM>> error connect CA!!!\n");
        return;
    }
    JMessage greeting(header);
    greeting.getWord();
    greeting.getWord();
    const int client = greeting.getWord();
    if (sm->set(client, socket) == 0) leftBehind.push_back(socket);
    JSystem::debug("CM>> CA(%d) connected OK!!!\n", client);  // whether the manager took it or not: kept
}

void CM::beginGreeting(JSocket* socket) {
    const ScopedLock guard(lock);
    greeted = socket;
    if (stopFlag) socket->wakeUp();
}

void CM::endGreeting() {
    const ScopedLock guard(lock);
    greeted = nullptr;
}

/**
 * Connections left behind whose peer has closed, or has said that it will send nothing more, since: the descriptors of
 * those would never come back.
 */
void CM::releaseLeftBehind() {
    const auto gone = std::partition(leftBehind.begin(), leftBehind.end(),
                                     [](JSocket* socket) { return !socket->isPeerClosed(); });
    std::for_each(gone, leftBehind.end(), [](JSocket* socket) { delete socket; });
    leftBehind.erase(gone, leftBehind.end());
}
