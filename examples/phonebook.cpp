// A phone book: records in a database file, an index by name in a hash table, the numbers asked for last in a cache. The
// names are Korean double-byte text and are decoded for a UTF-8 terminal.
//
//     phonebook FILE-PREFIX [NAME-IN-EUC-KR ...]
//
// keeps its records in the file FILE-PREFIX\phonebook.db, fills it on the first run, and looks the names up.

#include <cstdio>
#include <memory>

#include "jay.h"

namespace {

/** A key that compares the text: JString's own equals(const JObject*) compares classes only. */
class Name : public JString {
public:
    explicit Name(const JString& s) : JString(s) {}
    using JString::equals;
    bool equals(const JObject* other) override {
        return JObject::equals(*other) &&
               JString::equals(static_cast<const JString&>(*static_cast<const Name*>(other)));
    }
    JObject* clone() override { return new Name(*this); }
};

JString toUtf8(const JString& korean) {
    JString result;
    auto* at = reinterpret_cast<unsigned char*>(korean.toCharArray());
    auto* const end = at + korean.length();
    while (at < end) {
        unsigned short wide = '?';
        at += end - at == 1 && *at >= 0x80 ? 1 : JSystem::kstowc(&wide, at, static_cast<int>(end - at));
        unsigned char utf8[6];
        const int n = JSystem::wctomb(utf8, sizeof utf8, wide);
        result += JString(reinterpret_cast<char*>(utf8), 0, n);
    }
    return result;
}

/** Names and numbers; a record is "name=number". */
class PhoneBook {
public:
    explicit PhoneBook(const char* filePrefix) : db(JDatabase::getDatabase()), recent(2) {
        JDatabase::_path = filePrefix;
        if (db->getNumRecords("phonebook") == 0) fill();
        JStringArray records = db->getRecords("phonebook");
        for (int i = 0; i < records.length(); i++) {
            Name name(nameOf(records[i]));
            JString id = JString() + (i + 1);
            index.put(name, id);
        }
    }
    ~PhoneBook() { JDatabase::release(); }

    /** The number of a name, empty if it is not in the book. */
    JString number(const JString& who) {
        Name name(who);
        if (JObject* cached = recent.getElement(name)) return *static_cast<JString*>(cached);
        JObject* id = index.get(name);
        if (id == nullptr) return "";
        const JString record = db->getRecord("phonebook", JInteger::parseInt(*static_cast<JString*>(id)));
        JString found = record.substring(record.indexOf('=') + 1);
        recent.addElement(name, found);
        return found;
    }

    void print() {
        const std::unique_ptr<JEnumeration> names(index.keys());
        while (names->hasMoreElements()) {
            const auto& name = *static_cast<JString*>(names->nextElement());
            std::printf("%s  %s\n", static_cast<const char*>(toUtf8(name)),
                        static_cast<const char*>(number(name)));
        }
    }

    void printStatistics() { std::printf("%d asked, %d from the cache\n", recent.requests(), recent.hits()); }

private:
    static JString nameOf(const JString& record) { return record.substring(0, record.indexOf('=')); }

    void fill() {
        db->addRecord("phonebook", "\xB1\xE8\xB9\xCE\xC1\xD8=02-312-4455");   // Kim Min-jun
        db->addRecord("phonebook", "\xC0\xCC\xBC\xAD\xBF\xAC=031-204-7781");  // Lee Seo-yeon
        db->addRecord("phonebook", "\xB9\xDA\xB5\xB5\xC0\xB1=051-747-0312");  // Park Do-yun
    }

    JDatabase* db;
    JHashtable index;    // name -> record id, as text
    JCachetable recent;  // name -> number
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: phonebook FILE-PREFIX [NAME-IN-EUC-KR ...]\n");
        return 2;
    }
    PhoneBook book(argv[1]);
    if (argc == 2) book.print();
    for (int i = 2; i < argc; i++) {
        const JString number = book.number(argv[i]);
        std::printf("%s  %s\n", static_cast<const char*>(toUtf8(argv[i])),
                    number.length() > 0 ? static_cast<const char*>(number) : "is not in the book");
    }
    book.printStatistics();
    return 0;
}
