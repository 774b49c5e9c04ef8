"""scripts/abi.sh: the list is that of the library as it is built, and what would break programs is found."""
import platform
import subprocess
import tempfile
import unittest
from pathlib import Path

from cases import BUILD_DIR, ROOT, main

HEADER = """
namespace jay::detail { class Inside; }
class Base {
public:
    virtual ~Base();
    virtual int first();
    virtual int second();
    long half(int);
    static void forget(const char*);
    enum Kind { ONE, TWO };
    Kind kind;
private:
    int number;
    Base* next;
};
extern int table[4];
"""

SOURCE = """
#include "core/Base.h"
Base::~Base() {}
int Base::first() { return 1; }
int Base::second() { return 2; }
long Base::half(int n) { return n / 2; }
void Base::forget(const char*) {}
int table[4];
"""


def abi(*arguments):
    done = subprocess.run([ROOT / "scripts" / "abi.sh", *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False)
    return done.returncode, done.stdout


@unittest.skipUnless(platform.machine() == "x86_64", "the list is for 64-bit x86")
class Abi(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "core").mkdir()

    def build(self, header, source, soname="libbase.so.1"):
        """A small library in the place of ours."""
        (self.folder / "core" / "Base.h").write_text(header)
        (self.folder / "core" / "Base.cpp").write_text(source)
        library = self.folder / "libbase.so"
        subprocess.run(["c++", "-std=c++17", "-g", "-fPIC", "-shared", f"-Wl,-soname,{soname}", f"-I{self.folder}",
                        self.folder / "core" / "Base.cpp", "-o", library], check=True)
        return library

    def abi(self, action, library, *options):
        return abi(action, *options, "--list", self.folder / "list", library)

    def write_down(self):
        self.assertEqual(self.abi("--update", self.build(HEADER, SOURCE))[0], 0)

    def change(self, old, new, old_source="", new_source=""):
        """The library with one thing otherwise than it is written down."""
        self.write_down()
        self.assertIn(old, HEADER)
        self.assertIn(old_source, SOURCE)
        return self.build(HEADER.replace(old, new), SOURCE.replace(old_source, new_source) if old_source else SOURCE + new_source)

    def assert_breaks(self, library, *lines):
        for action in ("--check", "--update"):
            status, text = self.abi(action, library)
            self.assertEqual(status, 1, text)
            for line in lines:
                self.assertIn(f"  - {line}", text)
        self.assertEqual(self.abi("--update", library, "--break")[0], 0)
        self.assertEqual(self.abi("--check", library)[0], 0)

    def test_the_list_is_that_of_the_library(self):
        status, text = abi("--check", BUILD_DIR / "libjay.so")
        self.assertEqual(status, 0, text)

    def test_nothing_of_the_standard_library_leaves_ours(self):
        self.assertNotRegex((ROOT / "abi" / "libjay.so.1.symbols").read_text(),
                            r"(?m)^(\S+ for )?(std::|__gnu_cxx::|jay::detail::|\w+ std::)")

    def test_the_same_library_is_the_same(self):
        self.write_down()
        self.assertEqual(self.abi("--check", self.build(HEADER, SOURCE))[0], 0)

    def test_a_function_that_is_gone_breaks_programs(self):
        self.assert_breaks(self.change("static void forget(const char*);", "",
                                       "void Base::forget(const char*) {}", "\n"), "Base::forget(char const*)  FUNC")

    def test_a_longer_class_breaks_programs(self):
        self.assert_breaks(self.change("Base* next;", "Base* next; int more;"), "Base: 24 bytes")

    def test_members_that_change_places_break_programs(self):
        self.assert_breaks(self.change("int number;\n    Base* next;", "Base* next;\n    int number;"),
                           "Base: 24 bytes", "Base: at 12 int number")

    def test_a_virtual_function_between_others_breaks_programs(self):
        self.assert_breaks(self.change("virtual int second();", "virtual int between();\n    virtual int second();",
                                       new_source="int Base::between() { return 0; }"),
                           "Base: virtual 3 Base::second()", "vtable for Base  OBJECT 48")

    def test_another_result_breaks_programs(self):
        self.assert_breaks(self.change("long half(int);", "int half(int);", "long Base::half", "int Base::half"),
                           "Base: returns long int from Base::half(int)")

    def test_another_number_of_a_constant_breaks_programs(self):
        self.assert_breaks(self.change("ONE, TWO", "ZERO, ONE, TWO"), "Base::Kind: ONE = 0")

    def test_a_longer_table_breaks_programs(self):
        self.assert_breaks(self.change("table[4]", "table[5]", "table[4]", "table[5]"), "table  OBJECT 16")

    def test_an_addition_is_to_be_written_down(self):
        library = self.change("long half(int);", "long half(int);\n    long twice(int);",
                              new_source="long Base::twice(int n) { return 2 * n; }")
        status, text = self.abi("--check", library)
        self.assertEqual(status, 1)
        self.assertIn("  + Base::twice(int)  FUNC", text)
        self.assertNotIn("  - ", text)
        self.assertEqual(self.abi("--update", library)[0], 0)
        self.assertEqual(self.abi("--check", library)[0], 0)

    def assert_exported_in_vain(self, member, source, name):
        status, text = self.abi("--check", self.change("    int number;", f"    int number;\n    {member}", new_source=source))
        self.assertEqual(status, 1)
        self.assertIn(f"  ! {name}\n", text)

    def test_an_exported_private_function_is_reported(self):
        self.assert_exported_in_vain("void help();", "void Base::help() {}", "Base::help()")

    def test_an_exported_private_static_member_is_reported(self):
        self.assert_exported_in_vain("static int shared;", "int Base::shared;", "Base::shared")

    def test_a_type_of_the_inside_in_a_public_function_is_reported(self):
        self.assert_exported_in_vain("public: void take(jay::detail::Inside*);",
                                     "void Base::take(jay::detail::Inside*) {}", "Base::take(jay::detail::Inside*)")

    def test_a_hidden_private_function_is_not_reported(self):
        library = self.change("    int number;", "    int number;\n    __attribute__((visibility(\"hidden\"))) void help();",
                              new_source="void Base::help() {}")
        self.assertEqual(self.abi("--check", library)[0], 0)

    def test_a_public_constant_is_not_reported(self):
        library = self.change("    long half(int);", "    static constexpr int SIZE = 16;\n    long half(int);",
                              new_source="const int* sizeOf() { return &Base::SIZE; }")
        self.assertEqual(self.abi("--update", library)[0], 0)
        self.assertEqual(self.abi("--check", library)[0], 0)

    def test_a_private_virtual_function_is_not_reported(self):
        self.write_down()
        library = self.build(HEADER.replace("virtual int second();", "private: virtual int second(); public:"), SOURCE)
        self.assertEqual(self.abi("--check", library)[0], 0)

    def test_another_soname_starts_a_list_of_its_own(self):
        self.write_down()
        library = self.build(HEADER.replace("Base* next;", ""), SOURCE, soname="libbase.so.2")
        self.assertIn("there is no list for libbase.so.2", self.abi("--check", library)[1])
        self.assertEqual(self.abi("--update", library)[0], 0)
        self.assertTrue((self.folder / "list" / "libbase.so.1.classes").exists())

    def test_wrong_use_is_one_line(self):
        text_file = self.folder / "core" / "text"
        text_file.write_text("no library")
        for arguments in ([], ["--check", "nowhere.so"], ["--check", "--list"], ["--chekc"], ["--check", text_file]):
            status, text = abi(*arguments)
            self.assertEqual((status, text.count("\n")), (2, 1), text)
            self.assertRegex(text, r"^abi\.sh: .*--help")


if __name__ == "__main__":
    main()
