/**
 * @file The table: every class that the library exports, with what applications compiled against it rely on.
 *
 * A class is added here when it is added to a public header; scripts/check-tests.py compares. Fields are listed in
 * their order; a class with a size of 0 may have further fields behind these. Slots 0 and 1 are the destructor's; a
 * JObject's own operations take 2 to 6, so those of its subclasses start at 7.
 */
#include "jay.h"
#include "layout/Layout.h"

#define FIELD(Class, member) field(#member, &Class::member)
#define OWNS(Class, Super, object) \
    owns(Class::class##Class, &Super::class##Super, [] { return (object).getClass(); })
#define INHERITS(Class, object) inherits(Class::class##Class, [] { return (object).getClass(); })

namespace layout {

namespace {

constexpr std::size_t BEHIND_DESTRUCTOR = 2;
constexpr std::size_t BEHIND_ROOT = 7;

/** The only object of the class stays inside the library. */
const std::function<const JClass*()> NO_OBJECT;

/** What stands in front of a JThread's own fields. */
class TwoBases : public JRunnable, public JObject {};

/** Objects of the classes that have pure operations. */
class Enumeration : public JEnumeration {
public:
    int hasMoreElements() override { return 0; }
    JObject* nextElement() override { return nullptr; }
};

class Input : public JInputStream {
public:
    int available() override { return 0; }
    int close() override { return 0; }
    int read() override { return -1; }
    int read(JByte&) override { return -1; }
    int read(JByte&, int, int) override { return -1; }
    long skip(long) override { return 0; }
};

class Output : public JOutputStream {
public:
    int close() override { return 0; }
    int flush() override { return 0; }
    int write(int) override { return 0; }
    int write(JByte&) override { return 0; }
    int write(JByte&, int, int) override { return 0; }
};

std::vector<Row> core() {
    return {
        row<JObject, void>("JObject", 4)
            .owns(JObject::classJObject, nullptr, [] { return JObject().getClass(); })
            .appends(BEHIND_DESTRUCTOR,
                     {slot<bool(const JObject&)>("equals(const JObject&)", &JObject::equals),
                      slot<bool(const JObject*)>("equals(const JObject*)", &JObject::equals),
                      slot("hashCode()", &JObject::hashCode), slot("clone()", &JObject::clone),
                      slot("getClass()", &JObject::getClass)}),
        row<JInteger, JObject>("JInteger", 8)
            .OWNS(JInteger, JObject, JInteger())
            .holds({FIELD(JInteger, value)}),
        row<JSize, JObject>("JSize", 8).OWNS(JSize, JObject, JSize()).holds({FIELD(JSize, value)}),
        row<JPointer, JObject>("JPointer", 8)
            .OWNS(JPointer, JObject, JPointer())
            .holds({FIELD(JPointer, pointer)}),
        row<JByte, void>("JByte", 12).holds({FIELD(JByte, data), FIELD(JByte, size_)}),
        row<JString, JObject>("JString", 16)
            .OWNS(JString, JObject, JString())
            .holds({FIELD(JString, data), FIELD(JString, hash), FIELD(JString, length_)})
            .appends(BEHIND_ROOT, {slot<bool(JObject&)>("equals(JObject&)", &JString::equals),
                                   slot<bool(JObject*)>("equals(JObject*)", &JString::equals)}),
        row<JStringBuffer, JObject>("JStringBuffer", 16)
            .OWNS(JStringBuffer, JObject, JStringBuffer())
            .holds(
                {FIELD(JStringBuffer, data), FIELD(JStringBuffer, capacity), FIELD(JStringBuffer, length_)}),
        row<JVector, JObject>("JVector", 4).OWNS(JVector, JObject, JVector()),
    };
}

std::vector<Row> arrays() {
    return {
        row<JObjectArray, JObject>("JObjectArray", 20)
            .OWNS(JObjectArray, JObject, JObjectArray())
            .holds({FIELD(JObjectArray, length_), FIELD(JObjectArray, capacity), FIELD(JObjectArray, counter),
                    FIELD(JObjectArray, elements)})
            .appends(BEHIND_ROOT, {slot("create()", &JObjectArray::create)}),
        row<JIntegerArray, JObjectArray>("JIntegerArray", 20)
            .OWNS(JIntegerArray, JObjectArray, JIntegerArray())
            .appends(BEHIND_ROOT + 1, {slot<JObject*() const>("create() const", &JIntegerArray::create)}),
        row<JStringArray, JObjectArray>("JStringArray", 20).OWNS(JStringArray, JObjectArray, JStringArray()),
        row<JPointerArray, JObjectArray>("JPointerArray", 20)
            .OWNS(JPointerArray, JObjectArray, JPointerArray()),
        row<JLayoutArray, JObjectArray>("JLayoutArray", 20).OWNS(JLayoutArray, JObjectArray, JLayoutArray()),
        row<JTable, JObjectArray>("JTable", 36)
            .OWNS(JTable, JObjectArray, JTable())
            .holds({FIELD(JTable, rows), FIELD(JTable, columns)}),
        row<JStringTable, JTable>("JStringTable", 36).OWNS(JStringTable, JTable, JStringTable()),
    };
}

std::vector<Row> containers() {
    return {
        row<JEnumeration, JObject>("JEnumeration", 4)
            .OWNS(JEnumeration, JObject, Enumeration())
            .appends(BEHIND_ROOT, {slot("hasMoreElements()", &JEnumeration::hasMoreElements),
                                   slot("nextElement()", &JEnumeration::nextElement)}),
        row<JHashEntry, JObject>("JHashEntry", 20)
            .OWNS(JHashEntry, JObject, JHashEntry())
            .holds({FIELD(JHashEntry, next), FIELD(JHashEntry, hash), FIELD(JHashEntry, key),
                    FIELD(JHashEntry, value)}),
        row<JHashtable, JObject>("JHashtable", 28)
            .OWNS(JHashtable, JObject, JHashtable())
            .holds({FIELD(JHashtable, capacity_), FIELD(JHashtable, count), FIELD(JHashtable, threshold),
                    FIELD(JHashtable, loadFactor), FIELD(JHashtable, table), FIELD(JHashtable, keyList_)}),
        row<JHashEnumerator, JEnumeration>("JHashEnumerator", 28)
            .INHERITS(JEnumeration, JHashEnumerator(nullptr, 0, 1))
            .holds({FIELD(JHashEnumerator, table), FIELD(JHashEnumerator, current),
                    FIELD(JHashEnumerator, following), FIELD(JHashEnumerator, capacity),
                    FIELD(JHashEnumerator, bucket), FIELD(JHashEnumerator, returnKeys)}),
        row<JCacheEntry, JObject>("JCacheEntry", 28)
            .OWNS(JCacheEntry, JObject, JCacheEntry(0))
            .holds({FIELD(JCacheEntry, next), FIELD(JCacheEntry, hash), FIELD(JCacheEntry, slot),
                    FIELD(JCacheEntry, useCount), FIELD(JCacheEntry, key), FIELD(JCacheEntry, value)}),
        row<JCachetable, JObject>("JCachetable", 68)
            .OWNS(JCachetable, JObject, JCachetable())
            .holds({FIELD(JCachetable, requests_), FIELD(JCachetable, hits_), FIELD(JCachetable, faults_),
                    FIELD(JCachetable, capacity_), FIELD(JCachetable, count), FIELD(JCachetable, mostRecent),
                    FIELD(JCachetable, leastRecent), FIELD(JCachetable, previous),
                    FIELD(JCachetable, following), FIELD(JCachetable, entries),
                    FIELD(JCachetable, indexCapacity), FIELD(JCachetable, indexCount),
                    FIELD(JCachetable, duplicates), FIELD(JCachetable, indexThreshold),
                    FIELD(JCachetable, indexLoadFactor), FIELD(JCachetable, index)}),
        row<JCacheEntries, JEnumeration>("JCacheEntries", 12)
            .inherits(JEnumeration::classJEnumeration,
                      [] {
                          JCachetable cache;
                          return JCacheEntries(&cache).getClass();
                      })
            .holds({FIELD(JCacheEntries, cache), FIELD(JCacheEntries, cursor)}),
    };
}

std::vector<Row> systemAndThreads() {
    using Segment = JQueue::JQueueEntry;
    return {
        row<JSystem, JObject>("JSystem", 4).owns(JSystem::classJSystem, &JObject::classJObject, NO_OBJECT),
        row<JLock, JObject>("JLock", 0)
            .OWNS(JLock, JObject, JLock())
            .holds({FIELD(JLock, attributes), FIELD(JLock, mutex)}),
        row<JEvent, JObject>("JEvent", 0)
            .OWNS(JEvent, JObject, JEvent())
            .holds({FIELD(JEvent, mutex), FIELD(JEvent, condition), FIELD(JEvent, count_),
                    FIELD(JEvent, autoReset)}),
        row<JRunnable, void>("JRunnable", 4).appends(BEHIND_DESTRUCTOR, {slot("run()", &JRunnable::run)}),
        row<JThread, TwoBases>("JThread", 0)
            .OWNS(JThread, JObject, JThread())
            .holds({FIELD(JThread, handle), FIELD(JThread, id), FIELD(JThread, runnable),
                    FIELD(JThread, alive), FIELD(JThread, autoDelete), FIELD(JThread, interrupted_),
                    FIELD(JThread, state), FIELD(JThread, startEvent)})
            .appends(BEHIND_DESTRUCTOR,
                     {slot("run()", &JThread::run), slot("getClass()", &JThread::getClass)}),
        row<JThreadInit, JObject>("JThreadInit", 4),
        row<JThreadInit::Node, void>("JThreadInit::Node", 0)
            .holds({FIELD(JThreadInit::Node, next), FIELD(JThreadInit::Node, thread)}),
        row<Segment, void>("JQueue::JQueueEntry", 12).holds({FIELD(Segment, next), FIELD(Segment, slots)}),
        row<JQueue, JObject>("JQueue", 48)
            .OWNS(JQueue, JObject, JQueue(1))
            .holds({FIELD(JQueue, capacity), FIELD(JQueue, resume), FIELD(JQueue, segment),
                    FIELD(JQueue, tail), FIELD(JQueue, head), FIELD(JQueue, readIndex),
                    FIELD(JQueue, writeIndex), FIELD(JQueue, count), FIELD(JQueue, full),
                    FIELD(JQueue, inputCount), FIELD(JQueue, outputCount)}),
    };
}

std::vector<Row> streamsAndSockets() {
    using SocketInput = JSocket::JSocketInputStream;
    using SocketOutput = JSocket::JSocketOutputStream;
    return {
        row<JInputStream, JObject>("JInputStream", 4)
            .OWNS(JInputStream, JObject, Input())
            .appends(BEHIND_ROOT,
                     {slot("available()", &JInputStream::available), slot("close()", &JInputStream::close),
                      slot<int()>("read()", &JInputStream::read),
                      slot<int(JByte&)>("read(JByte&)", &JInputStream::read),
                      slot<int(JByte&, int, int)>("read(JByte&, int, int)", &JInputStream::read),
                      slot("skip(long)", &JInputStream::skip)}),
        row<JOutputStream, JObject>("JOutputStream", 4)
            .OWNS(JOutputStream, JObject, Output())
            .appends(BEHIND_ROOT,
                     {slot("close()", &JOutputStream::close), slot("flush()", &JOutputStream::flush),
                      slot<int(int)>("write(int)", &JOutputStream::write),
                      slot<int(JByte&)>("write(JByte&)", &JOutputStream::write),
                      slot<int(JByte&, int, int)>("write(JByte&, int, int)", &JOutputStream::write)}),
        row<JDataInputStream, JInputStream>("JDataInputStream", 8)
            .OWNS(JDataInputStream, JInputStream, JDataInputStream(nullptr))
            .holds({FIELD(JDataInputStream, in)}),
        row<JDataOutputStream, JOutputStream>("JDataOutputStream", 12)
            .OWNS(JDataOutputStream, JOutputStream, JDataOutputStream(nullptr))
            .holds({FIELD(JDataOutputStream, out), FIELD(JDataOutputStream, written)}),
        row<JInetAddress, JObject>("JInetAddress", 20)
            .OWNS(JInetAddress, JObject, JInetAddress())
            .holds({FIELD(JInetAddress, reserved0), FIELD(JInetAddress, address),
                    FIELD(JInetAddress, reserved1), FIELD(JInetAddress, reserved2)})
            .appends(BEHIND_ROOT, {slot<bool(JObject&)>("equals(JObject&)", &JInetAddress::equals),
                                   slot<bool(JObject*)>("equals(JObject*)", &JInetAddress::equals)}),
        row<JSocket, JObject>("JSocket", 0)
            .INHERITS(JObject, JSocket("", 1))
            .holds({FIELD(JSocket, fd), FIELD(JSocket, port), FIELD(JSocket, connected),
                    FIELD(JSocket, inputShutdown), FIELD(JSocket, outputShutdown),
                    FIELD(JSocket, connectTimeout), FIELD(JSocket, readTimeout), FIELD(JSocket, writeTimeout),
                    FIELD(JSocket, connectTimedOut), FIELD(JSocket, readTimedOut),
                    FIELD(JSocket, writeTimedOut), FIELD(JSocket, host), FIELD(JSocket, hostAddress),
                    FIELD(JSocket, message), FIELD(JSocket, input), FIELD(JSocket, output)}),
        row<SocketInput, JInputStream>("JSocket::JSocketInputStream", 0)
            .INHERITS(JInputStream, SocketInput(nullptr))
            .holds({FIELD(SocketInput, socket), FIELD(SocketInput, buffer), FIELD(SocketInput, buffered),
                    FIELD(SocketInput, capacity)}),
        row<SocketOutput, JOutputStream>("JSocket::JSocketOutputStream", 8)
            .INHERITS(JOutputStream, SocketOutput(nullptr))
            .holds({FIELD(SocketOutput, socket)}),
        row<JServerSocket, JObject>("JServerSocket", 0)
            .INHERITS(JObject, JServerSocket(0))
            .holds({FIELD(JServerSocket, fd), FIELD(JServerSocket, port), FIELD(JServerSocket, acceptWait),
                    FIELD(JServerSocket, name), FIELD(JServerSocket, init)}),
    };
}

std::vector<Row> bus() {
    return {
        row<JMessage, JObject>("JMessage", 20)
            .OWNS(JMessage, JObject, JMessage())
            .holds({FIELD(JMessage, data), FIELD(JMessage, capacity), FIELD(JMessage, pos),
                    FIELD(JMessage, wpos)}),
        row<M, JMessage>("M", 20).INHERITS(JMessage, M()),
        row<MQ, JObject>("MQ", 0)
            .OWNS(MQ, JObject, MQ(nullptr))
            .holds({FIELD(MQ, bands), FIELD(MQ, owner), FIELD(MQ, lock), FIELD(MQ, closed)}),
        row<LQ, JObject>("LQ", 0)
            .OWNS(LQ, JObject, LQ(nullptr))
            .holds({FIELD(LQ, bands), FIELD(LQ, owner), FIELD(LQ, lock), FIELD(LQ, closed)}),
        row<SM, JThread>("SM", 0)
            .OWNS(SM, JObject, SM(0))
            .holds({FIELD(SM, mq), FIELD(SM, cm), FIELD(SM, event), FIELD(SM, slots), FIELD(SM, stopFlag),
                    FIELD(SM, in), FIELD(SM, out), FIELD(SM, slotLock), FIELD(SM, port)}),
        row<SA, JThread>("SA", 0)
            .owns(SA::classSA, &JObject::classJObject,
                  [] {
                      SM manager(0);
                      return SA(&manager, 1).getClass();
                  })
            .holds({FIELD(SA, id), FIELD(SA, event), FIELD(SA, stopFlag), FIELD(SA, lq), FIELD(SA, sm),
                    FIELD(SA, socket), FIELD(SA, in), FIELD(SA, out), FIELD(SA, lock), FIELD(SA, state),
                    FIELD(SA, timedStamp), FIELD(SA, reader)}),
        row<SA::SAReader, JThread>("SA::SAReader", 0)
            .owns(SA::SAReader::classSAReader, &JObject::classJObject,
                  [] { return SA::SAReader(nullptr).getClass(); })
            .holds({FIELD(SA::SAReader, agent), FIELD(SA::SAReader, event), FIELD(SA::SAReader, stopFlag),
                    FIELD(SA::SAReader, idleFlag)}),
        row<CM, JThread>("CM", 0)
            .owns(CM::classCM, &JObject::classJObject,
                  [] {
                      SM manager(0);
                      return CM(&manager, 0).getClass();
                  })
            .holds({FIELD(CM, sm), FIELD(CM, port), FIELD(CM, serverSocket), FIELD(CM, stopFlag)}),
        row<CA, JThread>("CA", 0)
            .OWNS(CA, JObject, CA(1, "", 1))
            .holds({FIELD(CA, id), FIELD(CA, host), FIELD(CA, port), FIELD(CA, connectEvent),
                    FIELD(CA, messageEvent), FIELD(CA, lock), FIELD(CA, stopFlag), FIELD(CA, doneFlag),
                    FIELD(CA, bands), FIELD(CA, cursor), FIELD(CA, socket), FIELD(CA, callback)}),
    };
}

std::vector<Row> databaseAndScreens() {
    return {
        row<JDatabase, JObject>("JDatabase", 16)
            .OWNS(JDatabase, JObject, JDatabase())
            .holds({FIELD(JDatabase, file), FIELD(JDatabase, numRecords), FIELD(JDatabase, end)}),
        row<JLayout, JObject>("JLayout", 136)
            .OWNS(JLayout, JObject, JLayout())
            .holds({FIELD(JLayout, type), FIELD(JLayout, name), FIELD(JLayout, text), FIELD(JLayout, id),
                    FIELD(JLayout, parent), FIELD(JLayout, children), FIELD(JLayout, visible),
                    FIELD(JLayout, placement), FIELD(JLayout, alignment), FIELD(JLayout, area),
                    FIELD(JLayout, preset), FIELD(JLayout, reserved), FIELD(JLayout, vkey)}),
        row<JLayout::Rectangle, void>("JLayout::Rectangle", 16)
            .holds({FIELD(JLayout::Rectangle, x), FIELD(JLayout::Rectangle, y),
                    FIELD(JLayout::Rectangle, width), FIELD(JLayout::Rectangle, height)}),
        row<JCanvas, JObject>("JCanvas", 48)
            .OWNS(JCanvas, JObject, JCanvas(0))
            .holds({FIELD(JCanvas, width), FIELD(JCanvas, height), FIELD(JCanvas, handle),
                    FIELD(JCanvas, repaintPending), FIELD(JCanvas, flag), FIELD(JCanvas, layout),
                    FIELD(JCanvas, lastHit), FIELD(JCanvas, active)})
            .appends(
                BEHIND_ROOT,
                {slot("paint(JGraphics&)", &JCanvas::paint), slot("keyPressed(int)", &JCanvas::keyPressed),
                 slot("resize(int, int)", &JCanvas::resize), slot("createLayout()", &JCanvas::createLayout),
                 slot("adjust(JGraphics&)", &JCanvas::adjust),
                 slot("queryLayout(JLayout&)", &JCanvas::queryLayout),
                 slot("queryHit(JLayout&, int, int)", &JCanvas::queryHit)}),
        row<JImage, void>("JImage", 4),
        row<JFont, JObject>("JFont", 32)
            .OWNS(JFont, JObject, JFont())
            .holds({FIELD(JFont, face), FIELD(JFont, style), FIELD(JFont, size), FIELD(JFont, ownsFont),
                    FIELD(JFont, platformFont), FIELD(JFont, reserved)}),
        row<JGraphics, JObject>("JGraphics", 48)
            .OWNS(JGraphics, JObject, JGraphics(nullptr))
            .holds({FIELD(JGraphics, state), FIELD(JGraphics, image), FIELD(JGraphics, handle),
                    FIELD(JGraphics, font)}),
        row<JSound, JObject>("JSound", 20).OWNS(JSound, JObject, JSound()).holds({FIELD(JSound, fileName)}),
    };
}

}  // namespace

std::vector<Row> table() {
    std::vector<Row> all;
    for (auto part :
         {core, arrays, containers, systemAndThreads, streamsAndSockets, bus, databaseAndScreens}) {
        for (Row& row : part()) all.push_back(std::move(row));
    }
    return all;
}

}  // namespace layout
