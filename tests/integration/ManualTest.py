"""The manual pages in man/: one for each tool and each of its commands, with all that its --help names."""
import re
import subprocess
import sys
import unittest

from cases import BUILD_DIR, ROOT, main

sys.path.insert(0, str(ROOT / "scripts"))
from tool_help import all_helps, read_help  # noqa: E402  (the path comes first)

MAN = ROOT / "man"
TOOLS = BUILD_DIR / "tools"


def pages():
    """What the help says, by the page that should tell more. A command below a command is told by the page of that."""
    found = {}
    for described in [*all_helps(TOOLS / "jay"), read_help(TOOLS / "jayd")]:
        section = 8 if described.words == ["jayd"] else 1
        found.setdefault(MAN / f"{'-'.join(described.words[:2])}.{section}", []).append(described)
    return found


def read_page(path):
    """The page as one reads it, without bold and underlined."""
    text = subprocess.run(["mandoc", "-T", "utf8", "-O", "width=200", path], check=True, capture_output=True, text=True).stdout
    return re.sub(".\b", "", text)


def functions_in_the_header():
    """The declarations in bus/ca.h, without blanks."""
    text = (ROOT / "bus" / "ca.h").read_text(encoding="utf-8")
    return [re.sub(r"\s", "", declaration) for declaration in re.findall(r"^JAY_API ([^;]+);", text, re.MULTILINE)]


def functions_in_the_page(path):
    """The declarations in the synopsis of a page, without blanks."""
    found = []
    for result, name, arguments in re.findall(r'^\.Ft (.*)\n\.Fn (\w+) (.*)', path.read_text(encoding="utf-8"), re.MULTILINE):
        parameters = ",".join(re.findall(r'"(.*?)"', arguments))
        found.append(re.sub(r"\s", "", f"{result}{name}({parameters})"))
    return found


class Manual(unittest.TestCase):
    def test_every_tool_and_every_command_has_a_page_and_no_page_is_left_over(self):
        self.assertEqual(sorted(path.name for path in MAN.glob("*.[18]")), sorted(path.name for path in pages()))

    def test_the_page_of_the_c_interface_declares_what_the_header_declares(self):
        self.assertEqual(functions_in_the_page(MAN / "ca_open.3"), functions_in_the_header())

    def test_the_page_of_the_c_interface_names_each_function(self):
        names = re.findall(r"^\.Nm (\w+)", (MAN / "ca_open.3").read_text(encoding="utf-8"), re.MULTILINE)
        declared = re.findall(r"^JAY_API .*\b(ca_\w+)\(", (ROOT / "bus" / "ca.h").read_text(encoding="utf-8"), re.MULTILINE)
        self.assertEqual(names, declared)

    def test_every_option_and_argument_and_command_is_in_the_page(self):
        for path, helps in pages().items():
            with self.subTest(path.name):
                text = read_page(path)
                for described in helps:
                    names = [name for option in described.options for name in option.names]
                    words = [*names, *described.commands, *(name.rstrip(".") for name in described.arguments)]
                    missing = [word for word in words if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text, re.IGNORECASE)]
                    self.assertEqual(missing, [], f"{path} does not tell of them")

    def test_no_page_tells_of_an_option_that_is_none(self):
        """At the beginning of a line: what stands within a sentence may be another program's."""
        for path, helps in pages().items():
            with self.subTest(path.name):
                known = {name for described in helps for option in described.options for name in option.names}
                told = set(re.findall(r"^ {3,8}(?:-\w, )?(--[a-z][a-z-]+)", read_page(path), re.MULTILINE))
                self.assertEqual(told - known, set())

    def test_mandoc_finds_nothing_to_warn_of(self):
        for path in sorted(MAN.iterdir()):
            with self.subTest(path.name):
                done = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", path], capture_output=True, text=True, check=False)
                self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))

    def test_the_pages_referred_to_exist(self):
        names = {path.name for path in MAN.iterdir()}
        for path in sorted(MAN.iterdir()):
            with self.subTest(path.name):
                for name, section in re.findall(r"^\.Xr (jay[\w-]*) (\d)", path.read_text(), re.MULTILINE):
                    self.assertIn(f"{name}.{section}", names)


if __name__ == "__main__":
    main()
