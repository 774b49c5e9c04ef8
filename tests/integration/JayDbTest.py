"""jay db: the records of a database's file."""
import os
import random
import resource
import signal

from cases import main
from files import EXAMPLE, FileCase, database, record


class DbCase(FileCase):
    def db(self, part, *arguments, **options):
        done = self.jay("db", part, *arguments, **options)
        self.assert_harmless(done[1] + done[2])
        return done

    def done(self, part, *arguments, **options):
        """What it prints, without a word on standard error."""
        status, out, err = self.db(part, *arguments, **options)
        self.assertEqual((status, err), (0, ""))
        return out

    def content(self, name):
        return (self.folder / name).read_bytes()

    def leave_nothing(self):
        """A directory for temporary files, which is to be empty in the end."""
        folder = self.folder / "tmp"
        folder.mkdir()
        self.addCleanup(lambda: self.assertEqual(os.listdir(folder) if folder.exists() else [], []))
        return {**os.environ, "TMPDIR": str(folder)}


class JayDbReading(DbCase):
    def setUp(self):
        super().setUp()
        self.file("notes.db", EXAMPLE)

    def test_list_prints_all_records_but_abandoned_ones(self):
        self.assertEqual(self.done("list", "notes.db"), "2  text salt\n3  text abcdef\n")
        self.assertEqual(self.objects("db", "list", "notes.db"),
                         [{"record": 2, "text": "salt", "base64": "c2FsdA=="},
                          {"record": 3, "text": "abcdef", "base64": "YWJjZGVm"}])

    def test_get_prints_the_text_alone(self):
        self.assertEqual(self.done("get", "notes.db", 3), "abcdef\n")
        self.assertEqual(self.objects("db", "get", "notes.db", 2), [{"record": 2, "text": "salt", "base64": "c2FsdA=="}])

    def test_a_record_that_does_not_exist_is_status_1(self):
        for number in (4, 2147483647):
            self.assertIn(f"record {number} does not exist in 'notes.db'; the numbers go from 2 to 3",
                          self.refuse("db", "get", "notes.db", number, status=1))
        self.file("new.db", database())
        self.assertIn("holds no records", self.refuse("db", "get", "new.db", 1, status=1))

    def test_an_abandoned_record_is_reported_as_such(self):
        for part in (["get", "notes.db", 1], ["set", "notes.db", 1, "x"]):
            self.assertIn("record 1 of 'notes.db' was abandoned", self.refuse("db", *part, status=1))
        self.assertEqual(self.content("notes.db"), EXAMPLE)

    def test_an_abandoned_record_of_a_damaged_file_only_does_not_exist(self):
        self.file("notes.db", EXAMPLE[:35])  # record 3 may have been lost by the damage
        status, out, err = self.db("get", "notes.db", 3)
        self.assertEqual((status, out), (1, ""))
        self.assertIn("record 3 does not exist", err)

    def test_an_empty_text_is_a_record(self):
        self.file("empty.db", database(record(1, b"")))
        self.assertEqual(self.done("list", "empty.db"), "1  empty\n")
        self.assertEqual(self.done("get", "empty.db", 1), "\n")

    def test_an_empty_file_is_an_empty_database(self):
        self.file("new.db", b"")
        self.assertEqual(self.done("list", "new.db"), "")
        self.assertEqual(self.content("new.db"), b"")

    def test_the_name_of_an_application_is_a_name_like_any_other(self):
        self.file("\\db\\notes.db", EXAMPLE)
        self.assertEqual(self.done("get", "\\db\\notes.db", 2), "salt\n")
        self.assertEqual(self.done("get", self.folder / "\\db\\notes.db", 2), "salt\n")

    def test_reading_changes_nothing_and_leaves_nothing(self):
        environment = self.leave_nothing()
        for content in (EXAMPLE, EXAMPLE[:-3], EXAMPLE[:5]):
            self.file("notes.db", content)
            self.jay("db", "list", "notes.db", env=environment)
            self.jay("db", "get", "notes.db", 2, env=environment)
            self.assertEqual(self.content("notes.db"), content)

    def test_a_file_that_may_only_be_read_is_read(self):
        (self.folder / "notes.db").chmod(0o444)
        self.folder.chmod(0o555)
        self.assertEqual(self.done("get", "notes.db", 2, **self.as_somebody()), "salt\n")

    def test_a_damaged_file_is_shown_as_far_as_it_goes(self):
        self.file("notes.db", EXAMPLE[:35])
        status, out, err = self.db("list", "notes.db")
        self.assertEqual((status, out), (1, "2  text salt\n"))
        self.assert_one_line(err, "is damaged at offset 20", "jay dump")
        self.file("notes.db", EXAMPLE[:35])
        self.assertEqual(self.db("get", "notes.db", 2)[:2], (1, "salt\n"))

    def test_a_file_cut_at_any_length_does_no_harm(self):
        for length in range(1, len(EXAMPLE)):
            self.file("cut.db", EXAMPLE[:length])
            status, _, err = self.db("list", "cut.db")
            self.assertEqual(status, 1)
            self.assert_one_line(err, "is damaged at offset ")
            self.assertEqual(self.content("cut.db"), EXAMPLE[:length])

    def test_random_changes_do_no_harm(self):
        chance = random.Random(3)
        for _ in range(60):
            changed = bytearray(EXAMPLE)
            for _ in range(chance.randrange(1, 5)):
                changed[chance.randrange(len(changed))] = chance.choice((0, 1, 127, 128, 254, 255))
            self.file("changed.db", bytes(changed))
            self.assertIn(self.db("list", "changed.db")[0], (0, 1))
            self.assertEqual(self.content("changed.db"), changed)

    def test_texts_are_shown_without_harm(self):
        self.file("notes.db", database(record(1, b"\x1b[2J"), record(2, "한글".encode("euc-kr")), record(3, b"a\nb")))
        self.assertEqual(self.done("list", "notes.db"),
                         "1  hex 1b 5b 32 4a\n2  hex c7 d1 b1 db\n3  hex 61 0a 62\n")
        self.assertEqual(self.done("get", "notes.db", 1), "\\x1b[2J\n")
        self.assertEqual(self.done("get", "notes.db", 2, "--encoding", "euc-kr"), "한글\n")
        self.assertEqual(self.done("get", "notes.db", 3), "a\nb\n")

    def test_reading_makes_no_file(self):
        for part in (["list", "nothing.db"], ["get", "nothing.db", 1], ["set", "nothing.db", 1, "x"]):
            self.assertIn("does not exist", self.refuse("db", *part))
        self.assertEqual(os.listdir(self.folder), ["notes.db"])

    def test_what_is_not_a_file_is_refused(self):
        os.mkfifo(self.folder / "pipe")
        self.assertIn("is a directory", self.refuse("db", "list", "."))
        self.assertIn("not a regular file", self.refuse("db", "list", "pipe"))
        self.assertIn("not a regular file", self.refuse("db", "add", "/dev/null", "x"))
        self.assertIn("Not a directory", self.refuse("db", "list", "notes.db/x"))
        self.assertIn("cannot be read from standard input", self.refuse("db", "list", "-"))

    def test_a_file_that_cannot_be_read_is_not_taken_for_an_empty_one(self):
        memory = "/proc/self/mem"  # a regular file whose first byte cannot be read
        for part in (["list", memory], ["get", memory, 1], ["add", memory, "x"], ["set", memory, 1, "x"]):
            self.assertIn(f"cannot read '{memory}': Input/output error", self.refuse("db", *part))

    def test_temporary_files_need_a_place(self):
        self.assertIn("TMPDIR", self.refuse("db", "list", "notes.db", env={**os.environ, "TMPDIR": "/nowhere"}))

    def test_a_closed_pipe_ends_it_quietly(self):
        reading, writing = os.pipe()
        os.close(reading)
        self.assertEqual(self.db("list", "notes.db", stdout=writing), (0, "", ""))
        os.close(writing)


class JayDbWriting(DbCase):
    def test_add_makes_a_database_and_prints_the_number(self):
        status, out, err = self.db("add", "notes.db", "abc")
        self.assertEqual((status, out), (0, "1\n"))
        self.assert_one_line(err, "created 'notes.db'")
        self.assertEqual(self.content("notes.db"), database(record(1, b"abc")))
        self.assertEqual(self.done("add", "notes.db", "tomatoes"), "2\n")
        self.assertEqual(self.objects("db", "add", "notes.db", "x"), [{"record": 3}])

    def test_the_file_becomes_what_the_library_makes_of_it(self):
        self.done("add", "notes.db", "abc", "--quiet")
        self.done("add", "notes.db", "tomatoes")
        self.assertEqual(self.done("set", "notes.db", 2, "salt"), "2\n")
        status, out, err = self.db("set", "notes.db", 1, "abcdef")
        self.assertEqual((status, out), (0, "3\n"))
        self.assert_one_line(err, "did not fit", "record 1", "record 3 now")
        self.assertEqual(self.content("notes.db"), EXAMPLE)

    def test_set_wants_a_record(self):
        self.file("notes.db", EXAMPLE)
        self.assertIn("record 4 does not exist", self.refuse("db", "set", "notes.db", 4, "x", status=1))
        for number in ("0", "-1", "x", "2147483648"):
            self.assertIn("RECORD", self.refuse("db", "set", "notes.db", number, "x"))
        self.assertEqual(self.content("notes.db"), EXAMPLE)

    def test_payloads_may_be_hex_and_items(self):
        self.done("add", "notes.db", "--quiet", "--hex", "b0 a1", "1b")
        self.done("add", "notes.db", "--items", "str:abc", "var:300", "byte:7")
        self.assertEqual(self.content("notes.db"), database(record(1, b"\xb0\xa1\x1b"), record(2, b"\x03abc\xfe\x2c\x01\x07")))

    def test_korean_is_stored_as_such(self):
        self.done("add", "notes.db", "--quiet", "--encoding", "euc-kr", "한글")
        self.assertEqual(self.content("notes.db"), database(record(1, "한글".encode("euc-kr"))))

    def test_a_zero_would_end_a_text_and_is_refused(self):
        self.assertIn("byte 3 is zero", self.refuse("db", "add", "notes.db", "--hex", "61 62 00 63"))
        self.assertIn("zero", self.refuse("db", "add", "notes.db", "--items", "int:5"))
        self.assertEqual(os.listdir(self.folder), [])

    def test_each_line_of_standard_input_is_a_record(self):
        self.assertEqual(self.done("add", "notes.db", "-", "--quiet", given=b"one\ntwo\n\nfour"), "1\n2\n3\n4\n")
        self.assertEqual(self.content("notes.db"),
                         database(*(record(i + 1, text) for i, text in enumerate((b"one", b"two", b"", b"four")))))

    def test_one_wrong_line_and_nothing_is_written(self):
        self.assertIn("line 2 of standard input", self.refuse("db", "add", "notes.db", "--hex", "-", given=b"61\nxy\n62\n"))
        self.assertEqual(os.listdir(self.folder), [])

    def test_items_that_are_wrong_are_named(self):
        for item, parts in (("int:x", ("item 2, 'int:x'", "-2147483648..4294967295")), ("byte:256", ("-128..255",)),
                            ("word:65536", ("-32768..65535",)), ("var:-1", ("0..2147483647",)),
                            ("long:1", ("byte, word, int, var, str and hex",)), ("5", ("the type is missing",)),
                            ('str:"x', ("closing quote",)), ("str:\\q", ("backslash",)), ("hex:0", ("pairs",)),
                            ("int:", ("not a number",)), ("int:99999999999999999999", ("out of range",))):
            err = self.refuse("db", "add", "notes.db", "--items", "byte:1", item)
            for part in ("item 2", *parts):
                self.assertIn(part, err)
        self.assertEqual(os.listdir(self.folder), [])

    def test_items_have_the_bytes_of_the_encoding(self):
        for items, content in (("byte:-1", b"\xff"), ("word:0x1234", b"\x34\x12"), ("word:-2", b"\xfe\xff"),
                               ("int:-2", b"\xfe\xff\xff\xff"), ("int:0xffffffff", b"\xff\xff\xff\xff"),
                               ("var:253", b"\xfd"), ("var:510", b"\xfe\xfe\x01"), ("var:0x1010101", b"\xff\1\1\1\1"),
                               ("str:a\\x41\\n", b"\x03aA\n"), ('str:"two words"', b"\x09two words"),
                               ("str:" + "x" * 257, b"\xfe\x01\x01" + b"x" * 257), ("hex:0a1B", b"\x0a\x1b")):
            name = "one.db"
            (self.folder / name).unlink(missing_ok=True)
            self.done("add", name, "--quiet", "--items", items)
            self.assertEqual(self.content(name), database(record(1, content)), items)

    def test_a_file_that_may_not_be_written_is_refused(self):
        self.file("notes.db", EXAMPLE)
        (self.folder / "notes.db").chmod(0o444)
        self.folder.chmod(0o555)
        for part in (["add", "notes.db", "x"], ["set", "notes.db", 2, "x"], ["add", "new.db", "x"]):
            self.assertIn("Permission denied", self.refuse("db", *part, **self.as_somebody()))
        self.folder.chmod(0o755)
        self.assertEqual(os.listdir(self.folder), ["notes.db"])
        self.assertEqual(self.content("notes.db"), EXAMPLE)

    def test_a_directory_that_does_not_exist_is_reported(self):
        self.assertIn("No such file", self.refuse("db", "add", "nowhere/notes.db", "x"))

    def test_a_damaged_file_is_left_alone(self):
        for content in (EXAMPLE[:-1], EXAMPLE[:4], EXAMPLE[:20]):
            self.file("notes.db", content)
            for part in (["add", "notes.db", "x"], ["set", "notes.db", 2, "x"]):
                self.assertIn("--force", self.refuse("db", *part))
            self.assertEqual(self.content("notes.db"), content)

    def test_force_lets_the_library_repair(self):
        self.file("notes.db", EXAMPLE[:37])
        status, out, err = self.db("set", "notes.db", 3, "x", "--force")
        self.assertEqual((status, out), (1, ""))  # what was cut off is lost
        self.assertEqual(self.content("notes.db"), EXAMPLE[:37])
        status, out, err = self.db("set", "notes.db", 2, "x", "--force")
        self.assertEqual((status, out), (0, "2\n"))
        self.assert_one_line(err, "damaged at offset 37", "nevertheless")
        self.assertEqual(self.db("get", "notes.db", 2)[1], "x\n")

    def test_damage_that_the_library_cannot_repair_is_reported(self):
        self.file("notes.db", b"\xff" * 8)
        status, out, err = self.db("add", "notes.db", "x", "--force", "--quiet")
        self.assertEqual((status, out), (1, ""))
        self.assert_one_line(err, "could not write the record to 'notes.db'", "the damage is too great", "jay db list")

    def test_what_is_added_behind_a_repair_is_found_once_more_follows(self):
        self.file("notes.db", EXAMPLE[:37])
        status, out, err = self.db("add", "notes.db", "y", "--force")
        self.assertEqual((status, out), (0, "3\n"))
        self.assertIn("record 3 can only be read after another record has been added", err)
        self.assertEqual(self.db("get", "notes.db", 3)[0], 1)
        self.assertEqual(self.db("add", "notes.db", "z", "--force")[:2], (0, "4\n"))
        self.assertEqual(self.db("get", "notes.db", 3)[1], "y\n")

    def test_a_full_disk_is_reported(self):
        self.file("notes.db", EXAMPLE)

        def limit():  # the greatest size of a file stands for the disk's
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (60, 60))

        self.assertIn("disk full", self.refuse("db", "add", "notes.db", "x" * 200, status=1, preexec_fn=limit))
        self.assertEqual(self.content("notes.db")[:52], EXAMPLE)
        self.assertIn("disk full", self.refuse("db", "add", "new.db", "x" * 200, "--quiet", status=1, preexec_fn=limit))
        self.assertFalse((self.folder / "new.db").exists())

    def test_writing_leaves_nothing_behind(self):
        environment = self.leave_nothing()
        self.jay("db", "add", "notes.db", "x", env=environment)
        self.jay("db", "set", "notes.db", 1, "y", env=environment)
        self.assertEqual(sorted(os.listdir(self.folder)), ["notes.db", "tmp"])

    def test_wrong_use_is_refused(self):
        for arguments in ([], ["list"], ["get", "x"], ["add", "x"], ["set", "x", 1], ["frobnicate"], ["list", "x", "y"],
                          ["add", "x", "one", "two"], ["add", "x", "--hex", "--items", "61"]):
            self.assertIn("--help", self.refuse("db", *arguments))
        self.assertIn("frobnicate", self.refuse("db", "frobnicate"))
        self.assertIn("did you mean 'get'", self.refuse("db", "gte", "x", 1))
        self.assertIn("'rm'", self.refuse("db", "rm", "x", 1))
        self.assertIn("--nonsense", self.refuse("db", "list", "x", "--nonsense"))
        self.assertEqual(os.listdir(self.folder), [])

    def test_a_text_that_is_too_long_is_refused(self):
        self.assertIn("the 65519 bytes that jay puts into a record", self.refuse("db", "add", "new.db", "x" * 65520))

    def test_help_shows_examples(self):
        for arguments in (["--help"], ["add", "--help"]):
            status, out, err = self.jay("db", *arguments)
            self.assertEqual((status, err), (0, ""))
            self.assertIn("exit status", out)


if __name__ == "__main__":
    main()
