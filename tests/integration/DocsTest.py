"""Runs every command and every program in README.md and docs/, with other ports.

docs/testing.md describes the rules. Each page is one test: Docs.README, Docs.docs_protocol, ...
"""
import re
import unittest

from cases import BUILD_DIR, ROOT, Case, main
from pages import Folder, Page, PageError, missing_links, run_in_order
from processes import EMULATOR

# What a newcomer reads, in this order.
ROAD = [ROOT / "README.md", *(ROOT / "docs" / f"{name}.md" for name in ("getting-started", "operating", "porting"))]
PAGES = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]


class PageCase(Case):
    def setUp(self):
        super().setUp()
        if EMULATOR:
            self.skipTest("a shell starts programs by their names: it cannot run those of another machine")

    def folder(self):
        folder = Folder(ROOT, BUILD_DIR, self.closed_port(), self.closed_port())
        self.addCleanup(folder.remove)
        return folder

    def run_text(self, text):
        Page(text, self.folder(), ROOT, BUILD_DIR).run()

    def run_texts(self, pages):
        run_in_order(pages, self.folder(), ROOT, BUILD_DIR)


class Docs(PageCase):
    """Has a test for each page, made below."""

    def run_page(self, page):
        text = page.read_text(encoding="utf-8")
        self.assertEqual(missing_links(page, text), [], "links to files or headings that are not there")
        self.run_text(text)


def add_tests():
    for page in PAGES:
        name = re.sub(r"\W", "_", str(page.relative_to(ROOT).with_suffix("")))
        setattr(Docs, f"test_{name}", lambda self, page=page: self.run_page(page))


add_tests()


class DocsRoad(PageCase):
    def test_the_pages_of_a_newcomer_can_be_followed_in_one_shell(self):
        folder = self.folder()
        files = sorted(folder.path.iterdir())
        run_in_order([(str(page.relative_to(ROOT)), page.read_text(encoding="utf-8")) for page in ROAD], folder, ROOT, BUILD_DIR)
        self.assertEqual(sorted(folder.path.iterdir()), files, "files left among the sources")

    def test_a_page_can_use_what_the_one_before_has_set(self):
        self.run_texts([("one", "```console\n$ mkdir own; cd own; export WORD=hello\n```\n"),
                        ("two", "```console\n$ ls -d own; echo $WORD\nown\nhello\n```\n")])

    def test_a_page_that_fails_is_named(self):
        with self.assertRaisesRegex(PageError, r"two, line 1: \$ false\nends with status 1"):
            self.run_texts([("one", "text\n"), ("two", "```console\n$ false\n```\n")])

    def test_what_is_left_running_is_told(self):
        with self.assertRaisesRegex(PageError, "leave running.*sleep 1234"):
            self.run_texts([("one", "```console\n$ sleep 1234 &\n```\n")])


class DocsRunner(PageCase):
    """What runs the pages notices what is wrong in them."""

    def refuse(self, text, *parts):
        with self.assertRaises(PageError) as caught:
            self.run_text(text)
        for part in parts:
            self.assertIn(part, str(caught.exception))

    def test_a_script_that_fails_is_told_with_its_line(self):
        self.refuse("text\n\n```sh\nfalse\n```\n", "line 3", "ends with 1")
        self.refuse("```sh\nfalse | true\n```\n", "ends with 1")
        self.refuse("```sh\necho $no_such_variable\n```\n", "unbound")

    def test_blocks_of_a_page_share_their_folder(self):
        self.run_text("```sh\necho hello > note\n```\n```console\n$ cat note\nhello\n```\n")

    def test_a_file_is_written_where_the_shell_stands(self):
        self.run_text("```console\n$ mkdir -p ~/own; cd ~/own\n```\n\n```text note\nhello\n```\n\n"
                      "```console\n$ cat ~/own/note\nhello\n```\n")

    def test_other_output_than_shown_is_told(self):
        self.refuse("```console\n$ echo hello; exit\ngoodbye\n```\n", "goodbye", "hello")

    def test_dots_stand_for_what_changes(self):
        self.run_text("```console\n$ echo took 5 ms; echo 1; echo 2\ntook ... ms\n...\n2\n```\n")

    def test_a_status_other_than_0_must_be_shown(self):
        self.run_text("```console\n$ (exit 3)\n$ echo $?\n3\n```\n")
        self.refuse("```console\n$ (exit 3)\n```\n", "status 3")

    def test_a_job_in_the_background_is_waited_for_by_what_it_prints(self):
        self.run_text("```console\n$ jayd --quiet &\njayd: listening on port 23117\n"
                      "$ jay listen --id 7 --count 1 &\njay: listening...\n$ jay send --id 5 --to 7 hello\n...hello\n```\n")

    def test_a_program_is_compiled_with_warnings_as_errors(self):
        self.refuse("```c p.c\nint main(void) { int unused; return 0; }\n```\n```sh\n./p\n```\n", "unused")

    def test_a_program_that_the_page_never_starts_is_told(self):
        self.refuse("```c p.c\nint main(void) { return 0; }\n```\n", "nothing below starts ./p")
        self.refuse("```c\nint main(void) { return 0; }\n```\n", "file name")

    def test_a_python_program_that_the_page_never_starts_is_told(self):
        self.run_text("```python p.py\nprint('hello')\n```\n```console\n$ python3 p.py\nhello\n```\n")
        self.refuse("```python p.py\nprint('hello')\n```\n", "nothing below starts python3 p.py")
        self.refuse("```python\nprint(\n```\n", "no Python")

    def test_a_piece_of_code_may_rest_on_what_a_comment_before_it_declares(self):
        self.run_text("<!-- before: void draw(int); -->\n```cpp\nvoid twice() { draw(1); draw(2); }\n```\n")
        self.refuse("```cpp\nvoid twice() { draw(1); draw(2); }\n```\n", "draw")

    def test_no_block_is_left_out_without_a_reason(self):
        self.run_text("```sh no-run: the device is not here\nfalse\n```\n")
        self.refuse("```sh no-run\nfalse\n```\n", "reason")
        self.refuse("```\nfalse\n```\n", "name the language")
        self.refuse("```bash\nfalse\n```\n", "name the language")
        self.refuse("text\n\n    false\n", "indented")

    def test_commands_for_the_sources_name_what_there_is(self):
        self.run_text("```sh sources\nscripts/test.sh --all   # long\ncmake --preset debug && cmake --build --preset debug\n```\n")
        self.refuse("```sh sources\nscripts/tests.sh\n```\n", "no scripts/tests.sh")
        self.refuse("```sh sources\nscripts/test.sh --everything\n```\n", "--everything")
        self.refuse("```sh sources\ncmake --preset debugging\n```\n", "no preset debugging")
        self.refuse("```sh sources\ncmake --preset debug -DJAY_NONSENSE=ON\n```\n", "JAY_NONSENSE")

    def test_a_link_to_nowhere_is_told(self):
        page = ROOT / "docs" / "testing.md"
        self.assertEqual(missing_links(page, "[a](protocol.md#the-connection) [b](https://example.org) [c](no.md)"), ["no.md"])

    def test_a_link_to_a_heading_that_is_not_there_is_told(self):
        page = ROOT / "docs" / "testing.md"
        self.assertEqual(missing_links(page, "# One\n[a](#one) [b](#two) [c](protocol.md#two)"), ["#two", "protocol.md#two"])


if __name__ == "__main__":
    main()
