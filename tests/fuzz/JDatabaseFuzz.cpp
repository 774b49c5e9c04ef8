// Lets JDatabase work on a file of arbitrary bytes. Nothing may be read or written outside of memory (the sanitizers
// watch that), the operations agree with each other, and of a file in which DatabaseReader finds no fault every text is
// returned.
#include "database/JDatabase.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "Require.h"
#include "tools/jay/DatabaseReader.h"

namespace {

constexpr int MOST_COMPARED = 16;
constexpr char NAME[] = "fuzz";

/** A folder in memory where there is one; removed when the program ends. */
class Folder {
public:
    Folder() : path_(access("/dev/shm", W_OK) == 0 ? "/dev/shm/jaydb-XXXXXX" : "/tmp/jaydb-XXXXXX") {
        REQUIRE(mkdtemp(path_.data()) != nullptr);
    }
    ~Folder() {
        unlink(file().c_str());
        rmdir(path_.c_str());
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string prefix() const { return path_ + "/db"; }
    std::string file() const { return prefix() + "\\" + NAME + ".db"; }

    void write(const uint8_t* data, size_t size) const {
        const int fd = open(file().c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        REQUIRE(fd >= 0);
        REQUIRE(::write(fd, data, size) == static_cast<ssize_t>(size));
        close(fd);
    }
    off_t size() const {
        struct stat status {};
        REQUIRE(stat(file().c_str(), &status) == 0);
        return status.st_size;
    }

private:
    std::string path_;
};

std::string textOf(const JString& text) {
    return static_cast<const char*>(text);
}

/** The first record of each id that getRecords() lists, if the whole file is without fault. */
std::map<int, std::string> faultlessTexts(std::string_view bytes) {
    DatabaseReader reader(bytes);
    std::map<int, std::string> texts;
    StoredRecord record;
    while (reader.next(record)) {
        if (!record.fault.empty()) return {};
        if (record.id > 0) texts.emplace(record.id, std::string(record.text).c_str());  // up to the first NUL
    }
    return reader.damage().empty() ? texts : std::map<int, std::string>();
}

void compare(JDatabase& db, std::string_view bytes) {
    JStringArray texts = db.getRecords(NAME);
    const int listed = std::min(db.getNumRecords(NAME), texts.length());
    for (int id = 1; id <= std::min(listed, MOST_COMPARED); id++)
        REQUIRE(textOf(texts[id - 1]) == textOf(db.getRecord(NAME, id)));
    for (const auto& [id, text] : faultlessTexts(bytes)) REQUIRE(textOf(texts[id - 1]) == text);
}

void change(JDatabase& db, const Folder& folder, int id) {
    const int before = db.getNumRecords(NAME);
    db.setRecord(NAME, id, "a text that is longer than most");
    const int between = db.getNumRecords(NAME);
    REQUIRE(between <= before || between == before + 1);  // less after a repair
    db.addRecord(NAME, "new");
    REQUIRE(between == INT_MAX || db.getNumRecords(NAME) == between + 1 || folder.size() > INT_MAX - 64);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Folder folder;
    static JDatabase* const db = JDatabase::getDatabase();
    JDatabase::_path = folder.prefix().c_str();
    folder.write(data, size);
    compare(*db, std::string_view(reinterpret_cast<const char*>(data), size));
    REQUIRE(folder.size() <= static_cast<off_t>(std::max(size, size_t(8)) + 4));  // a repair writes one int
    for (const int id : {1, 2, -1}) change(*db, folder, id);
    return 0;
}
