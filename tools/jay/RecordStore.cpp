#include "tools/jay/RecordStore.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <signal.h>
#include <unistd.h>

#include "database/JDatabase.h"

namespace {

constexpr char PREFIX[] = "/jay";   // in the name of the file, before the backslash
constexpr char NAME[] = "records";  // and after it

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&signals, number);
    return signals;
}

void holdSignals(int how) {
    const sigset_t signals = endingSignals();
    sigprocmask(how, &signals, nullptr);
}

std::string temporaryDirectory() {
    const char* named = std::getenv("TMPDIR");
    return std::string(named != nullptr && *named != '\0' ? named : "/tmp") + "/jay-db-XXXXXX";
}

std::string bytesOf(const JString& text) {
    return std::string(static_cast<const char*>(text), static_cast<std::size_t>(text.length()));
}

std::string absolute(const std::string& path) {
    if (path[0] == '/') return path;
    char current[PATH_MAX];
    return getcwd(current, sizeof current) == nullptr ? path : std::string(current) + "/" + path;
}

bool writeWhole(const std::string& path, const std::string& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wxe");
    if (file == nullptr) return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && written;
}

}  // namespace

RecordStore::RecordStore(Way way, const std::string& source) {
    holdSignals(SIG_BLOCK);
    std::string name = temporaryDirectory();
    if (mkdtemp(name.data()) == nullptr) {
        fail("create a directory like " + name);
        return;
    }
    directory_ = name;
    JDatabase::getDatabase();
    JDatabase::_path = (directory_ + PREFIX).c_str();
    if (way == ON_FILE && symlink(absolute(source).c_str(), place().c_str()) != 0)
        fail("create a link in " + directory_);
    if (way == ON_COPY && !writeWhole(place(), source)) fail("create a copy in " + directory_);
}

RecordStore::~RecordStore() {
    if (!directory_.empty()) {
        JDatabase::release();
        unlink(place().c_str());
        rmdir(directory_.c_str());
    }
    holdSignals(SIG_UNBLOCK);
}

std::string RecordStore::place() const {
    return directory_ + PREFIX + "\\" + NAME + ".db";
}

void RecordStore::fail(const std::string& what) {
    error_ =
        "cannot " + what + ": " + std::strerror(errno) + "; set TMPDIR to a directory for temporary files";
}

int RecordStore::count() {
    return JDatabase::_instance->getNumRecords(NAME);
}

std::string RecordStore::text(int id) {
    return bytesOf(JDatabase::_instance->getRecord(NAME, id));
}

std::vector<std::string> RecordStore::texts() {
    JStringArray records = JDatabase::_instance->getRecords(NAME);
    std::vector<std::string> texts;
    for (int i = 0; i < records.length(); i++) texts.push_back(bytesOf(records[i]));
    return texts;
}

void RecordStore::repair() {
    constexpr int NOBODY = 0;  // no record has this number: the search reads to the end
    text(NOBODY);
}

int RecordStore::add(const std::string& text, int before) {
    JDatabase::_instance->addRecord(NAME, text.c_str());
    return count() == before + 1 ? before + 1 : 0;
}

int RecordStore::set(int id, const std::string& text, int before) {
    JDatabase::_instance->setRecord(NAME, id, text.c_str());
    if (count() == before + 1) return before + 1;
    return this->text(id) == text ? id : 0;
}
