#include <fmt/core.h>
#include <map>
#include <string>

#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/DatabaseReader.h"
#include "tools/jay/Files.h"
#include "tools/jay/Format.h"
#include "tools/jay/Hex.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/Output.h"
#include "tools/jay/WireReader.h"

namespace {

const std::string EXAMPLES = R"(Shows what a file holds, and never changes it. A capture holds what one end of
a connection sent, as bytes or in hex. Each message is one line, which begins
with the offset of its first byte:

  offset 16  stamp 595925115  5 -> 7  priority 1  length 21  text hello

Each record of a record database is one line, abandoned records included:

  offset 20  record 2  length 13  slack 4  text salt

A damaged file is shown up to the damage, whose offset is reported on standard
error. In hex, offsets count bytes, not digits; the offsets and texts of hex
dumps by other programs are skipped.

examples:
  jay dump capture.bin                           detects what it is
  jay dump --decode capture.bin                  show payloads as typed items
  jay dump --verbose --format wire capture.bin
  echo 10000700050001000000000000000000 | jay dump -
  jay dump '\db\notes.db'
)";

const std::map<std::string, Format> FORMATS = {
    {"wire", Format::WIRE}, {"hex", Format::HEX}, {"db", Format::DB}};

class Dump : public Command {
public:
    const char* name() const override { return "dump"; }
    const char* summary() const override { return "Show a capture of the wire or a database file"; }

    void describe(CommandLine& line) override {
        line.addArgument("FILE", path_, "The file; - is standard input");
        line.addChoice("--format", format_, {"auto", "wire", "hex", "db"}, "What the file holds");
        line.addFlag("--keep-going", keepGoing_, "Read invalid headers as a receiver does");
        line.addFlag("-v,--verbose", verbose_, "Show all of the header, and hex dumps");
        line.addFlag("--decode", view_.decode, "Show a payload as typed items if it can be");
        output_.describePayloads(line);
        line.setFooter(EXAMPLES + exitStatusHelp("the file is damaged, or the output failed"));
    }

    Status run() override {
        Parsed input = readInput(path_);
        if (!input.ok()) return fail(WRONG_USE, input.error);
        const auto format = format_ == "auto" ? recognise(input.bytes) : FORMATS.at(format_);
        if (!format && input.bytes.empty()) return fail(WRONG_USE, "{} is empty", shownPath(path_));
        if (!format)
            return fail(WRONG_USE, "{} is neither a capture nor a database; if it is one, use --format",
                        shownPath(path_));
        if (*format == Format::HEX) {
            input = parseHex(input.bytes);
            if (!input.ok())
                return fail(WRONG_USE, "{} is not a capture in hex: {}", shownPath(path_), input.error);
        }
        view_ = output_.view(view_.decode);
        return *format == Format::DB ? showDatabase(input.bytes) : showWire(input.bytes);
    }

private:
    // ---- captures ----

    Status showWire(const std::string& bytes) {
        WireReader reader(bytes, keepGoing_ ? WireReader::AS_A_RECEIVER : WireReader::STOP_AT_DAMAGE);
        std::string_view message;
        while (reader.next(message)) {
            if (!showMessage(reader, message)) return output_.status();
            if (!reader.oddity().empty()) tellDamage(reader.offset(), reader.oddity());
        }
        if (!reader.damage().empty()) tellDamage(reader.offset(), reader.damage());
        return damaged_ ? UNFINISHED : output_.status();
    }

    bool showMessage(const WireReader& reader, std::string_view bytes) {
        M message(const_cast<char*>(bytes.data()), 0, static_cast<int>(bytes.size()));  // copied from
        if (output_.isJson()) {
            JsonObject object;
            object.add("offset", reader.offset()).addAll(messageJson(message, view_));
            const std::string meaning = meaningOf(message, reader.offset());
            if (!meaning.empty()) object.add("meaning", meaning);
            return output_.object(object);
        }
        std::string meaning = meaningOf(message, reader.offset());
        if (!meaning.empty()) meaning = "  (" + meaning + ")";
        const std::string start = fmt::format("offset {}", reader.offset());
        if (verbose_) return output_.line(start + meaning + '\n' + messageBlock(message, view_));
        return output_.line(fmt::format("{}  stamp {}  {}{}", start, message.getTimestamp(),
                                        messageLine(message, view_), meaning));
    }

    /** What a message without payload says to the server, or the server to client 0. */
    static std::string meaningOf(M& m, std::size_t offset) {
        const bool bare = m.size() == M::HEADER_SIZE && m.getPriority() == 0 && m.getSection() == 0;
        if (!bare) return "";
        if (m.getFlag() == M::M_FLAG_SYNC && m.getTimestamp() == 0)
            return fmt::format("a request to wake client {}", m.getDestId());
        if (offset == 0 && m.getFlag() == 0 && m.getDestId() == 0)
            return fmt::format("the greeting of client {}", m.getSrcId());
        return "";
    }

    // ---- databases ----

    Status showDatabase(const std::string& bytes) {
        DatabaseReader reader(bytes);
        if (!showHeader(reader, bytes.size())) return output_.status();
        StoredRecord record;
        while (reader.next(record)) {
            if (!showRecord(record)) return output_.status();
            if (!record.fault.empty()) tellDamage(record.offset, "the record: " + record.fault);
        }
        if (!reader.damage().empty()) tellDamage(reader.offset(), reader.damage());
        tellUnused(reader, bytes.size());
        return damaged_ ? UNFINISHED : output_.status();
    }

    bool showHeader(const DatabaseReader& reader, std::size_t size) {
        if (output_.isJson())
            return output_.object(JsonObject()
                                      .add("offset", 0)
                                      .add("records", reader.count())
                                      .add("end", reader.end())
                                      .add("size", size));
        return output_.line(fmt::format("offset 0  header  records {}  end {}  (file {})", reader.count(),
                                        reader.end(), size));
    }

    bool showRecord(const StoredRecord& record) {
        if (output_.isJson()) return output_.object(jsonOf(record));
        std::string line = fmt::format("offset {}  {}  length {}  slack {}", record.offset, idOf(record),
                                       record.length, record.slack);
        if (!verbose_) return output_.line(line + "  " + textOf(record));
        line += "\n    " + textOf(record) + '\n' + hexDump(record.text, "    ");
        line.pop_back();
        return output_.line(line);
    }

    static std::string idOf(const StoredRecord& record) {
        if (!record.hasId) return "no record";
        if (record.id == StoredRecord::ABANDONED) return "abandoned";
        return fmt::format("record {}", record.id);
    }

    std::string textOf(const StoredRecord& record) const {
        return shownPayload(record.text, output_.encoding());
    }

    JsonObject jsonOf(const StoredRecord& record) const {
        JsonObject object;
        object.add("offset", record.offset).add("length", record.length).add("slack", record.slack);
        if (record.hasId) object.add("record", record.id);
        if (record.hasId && record.id == StoredRecord::ABANDONED) object.add("abandoned", true);
        return object.addBytes(record.text, output_.encoding());
    }

    /** Not damage: a program that ended after it wrote a record and before it counted it leaves such bytes. */
    void tellUnused(const DatabaseReader& reader, std::size_t size) const {
        const auto end = static_cast<std::size_t>(std::max(reader.end(), 0));
        if (reader.damage().empty() && size > end)
            output_.note("{} bytes from offset {} on belong to no record", size - end, end);
    }

    void tellDamage(std::size_t offset, const std::string& what) {
        damaged_ = true;
        complain("{} is damaged at offset {}: {}", shownPath(path_), offset, what);
        if (output_.isJson()) output_.object(JsonObject().add("offset", offset).add("damage", what));
    }

    std::string path_;
    std::string format_ = "auto";
    bool keepGoing_ = false;
    bool verbose_ = false;
    PayloadView view_;
    Output output_;
    bool damaged_ = false;
};

}  // namespace

std::unique_ptr<Command> makeDump() {
    return std::make_unique<Dump>();
}
