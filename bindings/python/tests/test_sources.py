"""The sources of the package: what they rest on, and what a type checker says of them and of programs that use them."""
import ast
import re
import shutil
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import LIMIT, ROOT

import jaybus

OLDEST = (3, 9)
PACKAGE = ROOT / "bindings" / "python"
SOURCES = sorted((PACKAGE / "jaybus").glob("*.py")) + sorted((ROOT / "examples").rglob("*.py"))


@pytest.mark.parametrize("source", SOURCES, ids=lambda path: path.name)
def test_a_source_rests_on_the_oldest_python_and_its_library_alone(source):
    tree = ast.parse(source.read_text(), feature_version=OLDEST)
    imported = {name.name for node in ast.walk(tree) if isinstance(node, ast.Import) for name in node.names}
    imported |= {node.module for node in ast.walk(tree) if isinstance(node, ast.ImportFrom)}
    assert not {name for name in imported if name.split(".")[0] not in sys.stdlib_module_names | {"jaybus"}}


def test_a_strict_type_checker_finds_nothing_wrong(tmp_path):
    mypy = shutil.which("mypy")
    assert mypy, "scripts/deps.sh test installs mypy"
    done = subprocess.run([mypy, "--strict", "--python-version", ".".join(map(str, OLDEST)), "--cache-dir", tmp_path, *SOURCES],
                          cwd=PACKAGE, capture_output=True, text=True, timeout=10 * LIMIT)
    assert done.returncode == 0, done.stdout + done.stderr


def test_the_package_loads_without_a_warning():
    done = subprocess.run([sys.executable, "-W", "error", "-X", "dev", "-c", "from jaybus import *"], cwd=PACKAGE,
                          capture_output=True, text=True, timeout=LIMIT)
    assert (done.returncode, done.stderr) == (0, "")


def test_every_public_name_is_there_and_explained():
    for name in jaybus.__all__:
        kind = getattr(jaybus, name)
        assert not isinstance(kind, type) or kind.__doc__, name
    with pytest.raises(AttributeError):
        jaybus.no_such_name


def test_both_clients_have_the_same_operations_with_the_same_arguments():
    import inspect

    def interface(kind):
        members = {name: member for name, member in vars(kind).items() if not name.startswith("_") or name == "__init__"}
        return {name: str(inspect.signature(member)) if callable(member) else "property" for name, member in members.items()}

    ours, theirs = interface(jaybus.Client), interface(jaybus.BlockingClient)
    assert theirs.pop("fileno")
    assert ours == theirs


def test_all_versions_are_that_of_the_project():
    version = re.search(r"project\(jay VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
    assert jaybus.__version__ == version
    assert f'version = "{version}"' in (PACKAGE / "pyproject.toml").read_text()
    assert Path(jaybus.__file__).with_name("py.typed").exists()
