#include <algorithm>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/DatabaseFile.h"
#include "tools/jay/Files.h"
#include "tools/jay/Output.h"
#include "tools/jay/PayloadSource.h"
#include "tools/jay/RecordStore.h"

namespace {

const char EXAMPLES[] =
    R"(Records are numbered from 1 in the order in which they were added, and are never removed. FILE is the file
of a database, under any name. Programs that use the library call it '\db\NAME.db', backslashes included.
list and get work on a copy: they do not create or change the file, and need no permission to write it. Of a
damaged file they show what the library finds in it, and report the damage. add and set do not write to a damaged
file unless --force is given. Only one program at a time may use a database.

examples:
  jay db list '\db\notes.db'
  jay db get '\db\notes.db' 2
  jay db add '\db\notes.db' 'buy milk'       prints the number of the new record; creates the file if necessary
  jay db set '\db\notes.db' 2 'buy salt'     prints the record's number, a new one if the text did not fit
  jay db add notes.db --hex b0 a1            bytes that are not text
  cat names | jay db add names.db -          one record for each line
  jay db list --json --encoding euc-kr notes.db
exit status: 0 done; 1 the record does not exist, the file is damaged, or it could not be written; 2 wrong use, or
the file cannot be used)";

class Db : public Command {
public:
    const char* name() const override { return "db"; }
    const char* summary() const override { return "List, get, add and set the records of a database file"; }

    void describe(CommandLine& line) override {
        line.setFooter(EXAMPLES);
        output_.describe(part(line, "list", "Print all records", &Db::list));
        CommandLine& get = part(line, "get", "Print the text of one record", &Db::get);
        describeId(get);
        output_.describe(get);
        describeWriting(part(line, "add", "Append a record", &Db::add));
        CommandLine& set = part(line, "set", "Change the text of a record", &Db::set);
        describeId(set);
        describeWriting(set);
    }

    Status run() override {
        file_ = DatabaseFile::read(path_);
        if (!file_.error.empty()) return refuse(file_.error);
        for (const auto& [line, action] : parts_) {
            if (line->isUsed()) return (this->*action)();
        }
        return WRONG_USE;
    }

private:
    using Action = Status (Db::*)();

    CommandLine& part(CommandLine& line, const char* name, const char* summary, Action action) {
        CommandLine& made = line.addCommand(name, summary);
        made.addArgument("FILE", path_, "The database's file");
        made.setFooter("'jay db --help' shows examples and the exit status");
        parts_.emplace_back(&made, action);
        return made;
    }

    void describeId(CommandLine& line) { line.addArgument("RECORD", id_, Range{1}, "Its number, from 1"); }

    void describeWriting(CommandLine& line) {
        source_.describe(line);
        line.addFlag("--force", force_, "Write to a damaged file, too; the library repairs it first");
        output_.describe(line);
    }

    static Status refuse(const std::string& why, Status status = WRONG_USE) {
        complain(why);
        return status;
    }

    std::string shownFile() const { return shownPath(path_); }

    Status noSuchFile() const {
        return refuse(shownFile() + " does not exist; 'jay db add' creates a database");
    }

    Status noSuchRecord() const {
        if (id_ <= file_.count && file_.damage.empty())
            return refuse("record " + std::to_string(id_) + " of " + shownFile() +
                              " was abandoned: a longer text for it was stored under a new number",
                          UNFINISHED);
        std::string which = ": the file holds no records";
        if (!file_.ids.empty())
            which = "; the numbers go from " + std::to_string(*file_.ids.begin()) + " to " +
                    std::to_string(*file_.ids.rbegin());
        return refuse("record " + std::to_string(id_) + " does not exist in " + shownFile() + which,
                      UNFINISHED);
    }

    // ---- reading ----

    Status list() {
        if (!file_.exists) return noSuchFile();
        std::vector<std::string> texts;
        {
            RecordStore store(RecordStore::ON_COPY, file_.bytes);
            if (!store.error().empty()) return refuse(store.error());
            texts = store.texts();
        }
        for (std::size_t i = 0; i < texts.size(); i++) {
            const int id = static_cast<int>(i) + 1;
            const bool there = !texts[i].empty() || file_.ids.count(id) != 0;
            if (there && !print(id, texts[i], true)) return output_.status();
        }
        return reportDamage(output_.status());
    }

    Status get() {
        if (!file_.exists) return noSuchFile();
        std::string text;
        {
            RecordStore store(RecordStore::ON_COPY, file_.bytes);
            if (!store.error().empty()) return refuse(store.error());
            text = store.text(id_);
        }
        if (text.empty() && file_.ids.count(id_) == 0) {
            reportDamage(DONE);
            return noSuchRecord();
        }
        print(id_, text, false);
        return reportDamage(output_.status());
    }

    bool print(int id, const std::string& text, bool inList) {
        if (output_.isJson()) {
            return output_.object(JsonObject().add("record", id).addBytes(text, output_.encoding()));
        }
        if (inList) return output_.line(std::to_string(id) + "  " + shownPayload(text, output_.encoding()));
        const auto lines = textOf(text, output_.encoding(), Allow::LINES);
        return output_.line(lines ? *lines : shownText(text, output_.encoding()));
    }

    /** Reports damage, if there is any. @return the exit status. */
    Status reportDamage(Status status) const {
        if (file_.damage.empty()) return status;
        return refuse(shownFile() + " is damaged " + file_.damage + "; 'jay dump' shows the details",
                      UNFINISHED);
    }

    // ---- writing ----

    Status add() {
        std::vector<std::string> texts;
        Status status = gather(texts);
        if (status == DONE) status = file_.exists ? checkWritable() : make();
        if (status != DONE) return status;
        std::vector<int> ids;
        {
            RecordStore store(RecordStore::ON_FILE, path_);
            if (store.error().empty()) {
                ids = addAll(store, texts);
            } else {
                status = refuse(store.error());
            }
        }
        return printAdded(ids, texts, status);
    }

    /** The numbers of the new records, up to the first that could not be written, which is 0. */
    std::vector<int> addAll(RecordStore& store, const std::vector<std::string>& texts) {
        int count = file_.count;
        if (!file_.damage.empty()) {
            store.repair();
            count = store.count();
        }
        std::vector<int> ids;
        for (const std::string& text : texts) {
            ids.push_back(store.add(text, count++));
            if (ids.back() == 0) return ids;
        }
        hidden_ = !ids.empty() && store.text(ids.back()) != texts.back();
        return ids;
    }

    Status set() {
        if (!file_.exists) return noSuchFile();
        if (source_.isInput()) return refuse("- stands for many records; only 'jay db add' accepts it");
        std::vector<std::string> texts;
        Status status = gather(texts);
        if (status == DONE) status = checkWritable();
        if (status != DONE) return status;
        if (file_.ids.count(id_) == 0) return noSuchRecord();
        int now = 0;
        {
            RecordStore store(RecordStore::ON_FILE, path_);
            if (!store.error().empty()) return refuse(store.error());
            now = store.set(id_, texts[0], file_.count);
        }
        if (now == 0) return notWritten();
        if (now != id_)
            output_.note("the text did not fit into record " + std::to_string(id_) +
                         ", which is abandoned; the text is record " + std::to_string(now) + " now");
        printId(now);
        return output_.status();
    }

    /** Reads the texts from the command line or from standard input. */
    Status gather(std::vector<std::string>& texts) {
        std::vector<Parsed> given;
        if (source_.isInput()) {
            const Parsed input = readInput("-");
            if (!input.ok()) return refuse(input.error);
            std::istringstream lines(input.bytes);
            for (std::string line; std::getline(lines, line);)
                given.push_back(source_.payload(line, output_.encoding()));
        } else {
            given.push_back(source_.payload(output_.encoding()));
        }
        for (std::size_t i = 0; i < given.size(); i++) {
            const std::string line =
                source_.isInput() ? "line " + std::to_string(i + 1) + " of standard input: " : "";
            if (!given[i].ok()) return refuse(line + given[i].error + "; nothing was written");
            const std::size_t zero = given[i].bytes.find('\0');
            if (zero != std::string::npos)
                return refuse(line + "byte " + std::to_string(zero + 1) +
                              " is zero, which ends a record's text; nothing was written");
            texts.push_back(given[i].bytes);
        }
        return DONE;
    }

    Status checkWritable() const {
        const std::string obstacle = obstacleToWriting(path_);
        if (!obstacle.empty()) return refuse("cannot write " + shownFile() + ": " + obstacle);
        if (file_.damage.empty()) return DONE;
        const std::string what = shownFile() + " is damaged " + file_.damage;
        if (!force_)
            return refuse(
                what +
                "; nothing was written ('jay db list' shows what is left; --force writes nevertheless)");
        output_.note(what + "; writing nevertheless");
        return DONE;
    }

    Status make() {
        const std::string obstacle = makeFile(path_);
        if (!obstacle.empty()) return refuse("cannot create " + shownFile() + ": " + obstacle);
        output_.note("created " + shownFile());
        return DONE;
    }

    Status printAdded(const std::vector<int>& ids, const std::vector<std::string>& texts, Status status) {
        const bool all = ids.size() == texts.size() && (ids.empty() || ids.back() != 0);
        for (const int id : ids) {
            if (id != 0 && !printId(id)) return output_.status();
        }
        if (!all && !file_.exists && (ids.empty() || ids.front() == 0)) unlink(path_.c_str());
        if (hidden_)
            output_.note(
                "record " + std::to_string(ids.back()) +
                " can only be read after another record has been added: the repair left a gap before it");
        if (status != DONE) return status;
        return all ? output_.status() : notWritten();
    }

    Status notWritten() const {
        const DatabaseFile now = DatabaseFile::read(path_);
        if (!now.error.empty()) return refuse(now.error, UNFINISHED);
        const bool whole = file_.damage.empty();
        return refuse("could not write the record to " + shownFile() +
                          (whole ? "; is the disk full?"
                                 : ": the damage is too great; add what 'jay db list' shows to a new file"),
                      UNFINISHED);
    }

    bool printId(int id) {
        return output_.isJson() ? output_.object(JsonObject().add("record", id))
                                : output_.line(std::to_string(id));
    }

    std::string path_;
    int id_ = 0;
    PayloadSource source_{"text", "a record"};
    bool force_ = false;
    Output output_;
    std::vector<std::pair<const CommandLine*, Action>> parts_;
    DatabaseFile file_;
    bool hidden_ = false;  // the last record added is not found
};

}  // namespace

std::unique_ptr<Command> makeDb() {
    return std::make_unique<Db>();
}
