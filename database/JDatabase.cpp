#include "database/JDatabase.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <climits>
#include <vector>

#include "database/detail/FileBytes.h"
#include "database/detail/RecordLayout.h"
#include "database/detail/RecordWalk.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"

using jay::detail::CancelOff;
using jay::detail::FileBytes;
using jay::detail::RecordLayout;
using jay::detail::RecordWalk;

const JClass JDatabase::classJDatabase = {"JDatabase", sizeof(JDatabase), &JObject::classJObject};

JString JDatabase::_path;
JDatabase* JDatabase::_instance = nullptr;
int JDatabase::_ref = 0;

namespace {

/** Elements that getRecords() returns for a count in the header that the file cannot hold. */
constexpr int LEAST_LISTED = 1024;

/** Bytes from the file's end to the greatest `end` that is believed: four damaged bytes make no file of 2 GiB. */
constexpr int GREATEST_GAP = 1 << 20;

constexpr char OPEN_MODE[] = "r+be";   ///< e: a program that exec() starts does not inherit the descriptor
constexpr char CREATE_MODE[] = "abe";  ///< a: never truncates a file that was created in the meantime

JMessage twoInts(int first, int second) {
    JMessage message;
    message.addInt(first);
    message.addInt(second);
    return message;
}

/** Keeps a database open for the length of one operation, during which the calling thread cannot be cancelled. */
class Session {
public:
    Session(JDatabase& database, const char* name) : database_(database) { database_.open(name); }
    ~Session() { database_.close(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

private:
    CancelOff cancelOff_;
    JDatabase& database_;
};

}  // namespace

// ---- the shared instance ----

JDatabase::JDatabase() : file(nullptr), numRecords(0), end(0) {
    _path = JSystem::getHomeDirectory() + "\\db";
}

JDatabase::~JDatabase() = default;

const JClass* JDatabase::getClass() const {
    return &classJDatabase;
}

JDatabase* JDatabase::getDatabase() {
    if (_instance == nullptr) _instance = new JDatabase;
    _ref++;
    return _instance;
}

int JDatabase::release() {
    if (--_ref > 0) return _ref;
    delete _instance;
    _instance = nullptr;
    return _ref;
}

// ---- records by database name ----

int JDatabase::getNumRecords(const char* name) {
    const Session session(*this, name);
    return numRecords;
}

JString JDatabase::getRecord(const char* name, int id) {
    const Session session(*this, name);
    return RecordWalk::textOf(find(id));
}

JStringArray JDatabase::getRecords(const char* name) {
    const Session session(*this, name);
    JStringArray texts;
    if (file == nullptr) return texts;
    const int possible = std::max(FileBytes(file).size() / RecordLayout::INT_SIZE, LEAST_LISTED);
    texts.resize(std::min(std::max(numRecords, 0), possible));
    collect(texts);
    if (file == nullptr) texts.clear();  // the file could not be read
    return texts;
}

/** Puts the text of each record at its id less 1; of two records with one id, the first. */
void JDatabase::collect(JStringArray& texts) {
    const int listed = texts.length();
    std::vector<bool> seen(static_cast<size_t>(listed), false);
    RecordWalk walk{FileBytes(file)};
    for (int i = 0; next(walk, i); i++) {
        if (!walk.hasId() || walk.id() < 1 || walk.id() > listed) continue;
        const int index = walk.id() - 1;
        if (seen[static_cast<size_t>(index)]) continue;
        seen[static_cast<size_t>(index)] = true;
        if (!walk.readInto(texts[index])) return close();
    }
    if (numRecords < listed) {  // the file was repaired: there are no ids above its new count
        texts.resize(numRecords);
        texts.resize(listed);
    }
}

void JDatabase::addRecord(const char* name, const char* text) {
    const Session session(*this, name);
    append(text);
}

void JDatabase::setRecord(const char* name, int id, const char* text) {
    const Session session(*this, name);
    replace(id, text);
}

void JDatabase::deleteRecord(const char*, int, const char*) {
}

void JDatabase::remove(const char*) {
}

// ---- one open file ----

JString JDatabase::fileName(const char* name) {
    return _path + "\\" + JString(name) + ".db";
}

void JDatabase::open(const char* name) {
    const CancelOff cancelOff;
    close();
    const JString path = fileName(name);
    file = std::fopen(path, OPEN_MODE);
    if (file == nullptr && errno == ENOENT) {
        if (FILE* made = std::fopen(path, CREATE_MODE)) std::fclose(made);
        file = std::fopen(path, OPEN_MODE);
    }
    numRecords = 0;
    end = RecordLayout::HEADER_SIZE;
    if (file != nullptr && FileBytes(file).size() < 0) close();
    readHeader();
}

void JDatabase::close() {
    const CancelOff cancelOff;
    if (file != nullptr) std::fclose(file);
    file = nullptr;
}

void JDatabase::readHeader() {
    const CancelOff cancelOff;
    if (file == nullptr) return;
    unsigned char header[RecordLayout::HEADER_SIZE];
    const int n = FileBytes(file).read(0, header, sizeof header);
    const bool whole = n == RecordLayout::HEADER_SIZE;
    numRecords = whole ? RecordLayout::intAt(header + RecordLayout::COUNT_OFFSET) : 0;
    end = whole ? RecordLayout::intAt(header + RecordLayout::END_OFFSET) : RecordLayout::HEADER_SIZE;
    if (n < 0) return close();
    if (!whole) writeHeader();
}

void JDatabase::writeHeader() {
    const CancelOff cancelOff;
    if (file == nullptr) return;
    writeAt(0, twoInts(numRecords, end));
}

JMessage JDatabase::find(int id) {
    const CancelOff cancelOff;
    JMessage found;
    readHeader();
    if (file == nullptr) return found;
    RecordWalk walk{FileBytes(file)};
    for (int i = 0; next(walk, i); i++) {
        if (!walk.hasId() || walk.id() != id) continue;
        if (!walk.readInto(found)) close();
        break;
    }
    return found;
}

/**
 * Steps to the record behind the first `before` ones. False when the header counts no more, when the file ends, which is
 * repaired then, and when the file cannot be read: it is closed then, so that nothing is written to it.
 */
bool JDatabase::next(RecordWalk& walk, int before) {
    if (before >= numRecords) return false;
    const RecordWalk::Step step = walk.next();
    if (step == RecordWalk::END) repair(walk.offset(), walk.bytesOfLength(), before);
    if (step == RecordWalk::FAILED) close();
    return step == RecordWalk::RECORD;
}

void JDatabase::repair(int offset, int bytesRead, int recordsBefore) {
    JMessage word;
    word.addInt(bytesRead);
    if (word.size() > INT_MAX - offset || !writeAt(offset, word)) return;
    end = offset + RecordLayout::INT_SIZE;
    numRecords = recordsBefore;
    writeHeader();
}

JMessage JDatabase::make(int id, const char* text) {
    JMessage record;
    record.addInt(0);
    record.addInt(id);
    record.addString(text);
    const int size = record.setWPos(0);
    record.addInt(size - RecordLayout::INT_SIZE);
    record.setWPos(size);
    return record;
}

bool JDatabase::writeAt(int offset, const JMessage& bytes) {
    const JByte block = bytes.toByteArray();
    return FileBytes(file).write(offset, block, block.size());
}

/** Where the next record goes: `end`, or the file's end when `end` is damaged. -1 when the file's size is not known. */
int JDatabase::appendOffset() {
    const int size = FileBytes(file).size();
    if (size < 0) return -1;
    const bool isDamaged = end < RecordLayout::HEADER_SIZE || end - GREATEST_GAP > size;
    return isDamaged ? std::max(size, RecordLayout::HEADER_SIZE) : end;
}

/** The header follows the record, so that a record that could not be written does not count. */
bool JDatabase::append(const char* text) {
    if (file == nullptr || numRecords == INT_MAX) return false;
    JMessage record = make(numRecords + 1, text);
    const int offset = appendOffset();
    assert(offset < 0 || offset >= RecordLayout::HEADER_SIZE);
    if (offset < 0 || record.size() > INT_MAX - offset || !writeAt(offset, record)) return false;
    return writeAt(0, twoInts(++numRecords, end = offset + record.size()));
}

void JDatabase::replace(int id, const char* text) {
    JMessage found = find(id);
    if (found.size() == 0) return;
    const int offset = found.getInt();
    const int length = found.getInt();
    JMessage image = twoInts(length, id);
    image.addString(text);
    if (length < image.size() - RecordLayout::INT_SIZE) return move(offset, length, text);
    writeAt(offset, image);
}

/**
 * Appends the new text and abandons the old record, in this order: at every moment one of the two is there. A damaged `end`
 * may let the new record overwrite the old one; the mark then comes first, as it would destroy the new one.
 */
void JDatabase::move(int offset, int length, const char* text) {
    const int target = appendOffset();
    if (target < 0) return;
    const JMessage mark = twoInts(length, RecordLayout::ABANDONED);
    const bool overwrites = target < offset + mark.size();
    if (overwrites) writeAt(offset, mark);
    if (append(text) && !overwrites) writeAt(offset, mark);
}
