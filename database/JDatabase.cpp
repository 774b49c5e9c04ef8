#include "database/JDatabase.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

#include "system/JSystem.h"

const JClass JDatabase::classJDatabase = {"JDatabase", sizeof(JDatabase), &JObject::classJObject};

JString JDatabase::_path;
JDatabase* JDatabase::_instance = nullptr;
int JDatabase::_ref = 0;

namespace {

constexpr int HEADER_SIZE = 8;
constexpr int WORD_SIZE = 4;
constexpr int ABANDONED = -1;       ///< id of a record whose text lives elsewhere now
constexpr int LEAST_LISTED = 1024;  ///< strings that getRecords() makes for a header's word alone
constexpr int GREATEST_SIZE =
    INT_MAX - (1 << 21);  ///< of a file that is worked on: offsets are 32-bit, with room to spare
constexpr int GREATEST_GAP = 1 << 20;  ///< bytes from the file's end to a believable end of the records

constexpr char OPEN_MODE[] = "r+be";   ///< e: a program that exec() starts does not inherit the descriptor
constexpr char CREATE_MODE[] = "abe";  ///< a: never truncates a file that was created in the meantime

/** The file's size; -1 if it is larger than offsets reach. Moves the stream's position. */
int sizeOf(FILE* file) {
    if (std::fseek(file, 0, SEEK_END) != 0) return -1;
    const long size = std::ftell(file);
    return size > GREATEST_SIZE ? -1 : static_cast<int>(size);
}

/** Reads up to the block's size; what was read is all the block holds then. */
int readInto(FILE* file, JByte& block) {
    const size_t n = std::fread(static_cast<void*>(block), 1, static_cast<size_t>(block.size()), file);
    return static_cast<int>(n);
}

/** A little-endian int. */
int intFrom(const unsigned char* bytes) {
    unsigned value = 0;
    for (int i = WORD_SIZE - 1; i >= 0; i--) value = value << 8 | bytes[i];
    return static_cast<int>(value);
}

/** The text of a record as find() gives it: behind offset, length and id. */
JString textOf(JMessage found) {
    found.getInt();
    found.getInt();
    found.getInt();
    return found.getString();
}

JMessage twoInts(int first, int second) {
    JMessage message;
    message.addInt(first);
    message.addInt(second);
    return message;
}

}  // namespace

// ---- one pass over the records ----

/** Steps over the records of an open file, each held until the next step. Never reads more than the file has.
 */
class JDatabase::Walk {
public:
    explicit Walk(FILE* stream) : file(stream), fileSize(sizeOf(stream)) {
        std::fseek(file, HEADER_SIZE, SEEK_SET);
    }

    /** False when the next record's length could not be read whole. */
    bool next() {
        offset = following;
        unsigned char word[WORD_SIZE];
        bytesRead = static_cast<int>(std::fread(word, 1, sizeof word, file));
        if (bytesRead < WORD_SIZE) return false;
        length = intFrom(word);
        const int left = fileSize - offset - WORD_SIZE;
        body.resize(std::max(0, std::min(length, left)));
        following = offset + WORD_SIZE + readInto(file, body);
        return true;
    }

    /** Whether the record has an id at all. */
    bool hasId() const { return body.size() >= WORD_SIZE; }
    int id() const { return intFrom(body); }

    JString text() const { return textOf(message()); }

    /** The record as find() gives it. */
    JMessage message() const {
        JMessage found = twoInts(offset, length);
        found.addBytes(body);
        return found;
    }

    int offset = 0;     ///< where the record, or what is left of it, begins
    int bytesRead = 0;  ///< how much of its length could be read

private:
    FILE* file;
    int fileSize;
    int following = HEADER_SIZE;
    int length = 0;
    JByte body;
};

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
    open(name);
    close();
    return numRecords;
}

JString JDatabase::getRecord(const char* name, int id) {
    open(name);
    JMessage found = find(id);
    close();
    return textOf(found);
}

JStringArray JDatabase::getRecords(const char* name) {
    JStringArray texts;
    open(name);
    if (file == nullptr) return texts;
    const int listed = std::min(std::max(numRecords, 0), std::max(sizeOf(file) / WORD_SIZE, LEAST_LISTED));
    texts.resize(listed);
    std::vector<bool> seen(static_cast<size_t>(listed), false);  // the first record with an id wins

    Walk walk(file);
    for (int i = 0; i < numRecords; i++) {
        if (!walk.next()) {
            repair(walk.offset, walk.bytesRead, i);  // ends the loop, too
            break;
        }
        const int index = walk.hasId() ? walk.id() - 1 : -1;
        if (index < 0 || index >= listed || seen[static_cast<size_t>(index)]) continue;
        seen[static_cast<size_t>(index)] = true;
        texts[index] = walk.text();
    }
    // A repaired file has no ids above its new count.
    for (int index = std::max(numRecords, 0); index < listed; index++) {
        if (seen[static_cast<size_t>(index)]) texts[index] = "";
    }
    close();
    return texts;
}

void JDatabase::addRecord(const char* name, const char* text) {
    open(name);
    append(text);
    close();
}

void JDatabase::setRecord(const char* name, int id, const char* text) {
    open(name);
    replace(id, text);
    close();
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
    close();
    const JString path = fileName(name);
    file = std::fopen(path, OPEN_MODE);
    if (file == nullptr && errno == ENOENT) {
        if (FILE* made = std::fopen(path, CREATE_MODE)) std::fclose(made);
        file = std::fopen(path, OPEN_MODE);
    }
    if (file != nullptr && sizeOf(file) < 0) close();
    numRecords = 0;
    end = HEADER_SIZE;
    readHeader();
}

void JDatabase::close() {
    FILE* const closing = std::exchange(file, nullptr);  // first: fclose may be where a thread is cancelled
    if (closing != nullptr) std::fclose(closing);
}

void JDatabase::readHeader() {
    if (file == nullptr) return;
    JByte header(HEADER_SIZE);
    std::fseek(file, 0, SEEK_SET);
    if (readInto(file, header) < HEADER_SIZE) {
        numRecords = 0;
        end = HEADER_SIZE;
        writeHeader();
    } else {
        JMessage reader(header);
        numRecords = reader.getInt();
        end = reader.getInt();
    }
    std::fseek(file, HEADER_SIZE, SEEK_SET);
}

void JDatabase::writeHeader() {
    if (file == nullptr) return;
    JMessage header = twoInts(numRecords, end);
    writeAt(0, header);
}

JMessage JDatabase::find(int id) {
    if (file == nullptr) return JMessage();
    readHeader();
    Walk walk(file);
    for (int i = 0; i < numRecords; i++) {
        if (!walk.next()) {
            repair(walk.offset, walk.bytesRead, i);
            break;
        }
        if (walk.hasId() && walk.id() == id) return walk.message();
    }
    return JMessage();
}

void JDatabase::repair(int offset, int bytesRead, int recordsBefore) {
    JMessage word;
    word.addInt(bytesRead);
    if (!writeAt(offset, word)) return;
    end = offset + WORD_SIZE;
    numRecords = recordsBefore;
    writeHeader();
}

JMessage JDatabase::make(int id, const char* text) {
    JMessage record;
    record.addInt(0);
    record.addInt(id);
    record.addString(text);
    const int size = record.setWPos(0);
    record.addInt(size - WORD_SIZE);
    record.setWPos(size);
    return record;
}

/** Writes all the bytes, to the file itself, or says that it could not. */
bool JDatabase::writeAt(int offset, JMessage& bytes) {
    if (std::fseek(file, offset, SEEK_SET) != 0) return false;
    const JByte block = bytes.toByteArray();
    const auto size = static_cast<size_t>(block.size());
    return std::fwrite(static_cast<void*>(block), 1, size, file) == size && std::fflush(file) == 0;
}

/** Where the next record goes: `end`, unless that is damaged. */
int JDatabase::appendOffset() {
    const int fileSize = std::max(sizeOf(file), HEADER_SIZE);
    const bool believable = end >= HEADER_SIZE && end <= fileSize + GREATEST_GAP;
    return believable ? end : fileSize;
}

/** The header follows the record, so that a record that could not be written does not count. */
bool JDatabase::append(const char* text) {
    if (file == nullptr || numRecords == INT_MAX) return false;
    JMessage record = make(numRecords + 1, text);
    const int offset = appendOffset();
    if (record.size() > GREATEST_SIZE - offset || !writeAt(offset, record)) return false;
    numRecords++;
    end = offset + record.size();
    writeHeader();
    return true;
}

bool JDatabase::replace(int id, const char* text) {
    JMessage found = find(id);
    if (found.size() == 0) return false;
    const int offset = found.getInt();
    const int length = found.getInt();
    JMessage image = twoInts(length, id);
    image.addString(text);
    if (length >= image.size() - WORD_SIZE) return writeAt(offset, image);

    JMessage mark = twoInts(length, ABANDONED);
    if (!writeAt(offset, mark)) return false;
    if (append(text)) return true;
    JMessage former = twoInts(length, id);  // the disk is full: the old text stays
    writeAt(offset, former);
    return false;
}
