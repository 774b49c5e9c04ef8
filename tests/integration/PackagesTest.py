"""What is installed, by the Debian packages and by `cmake --install`: programs are built against it with CMake and with
pkg-config, in C++ and in C, from outside the source tree, and they meet at a jayd from the same place."""
import os
import re
import shlex
import subprocess
import tempfile
from pathlib import Path

from cases import BUILD_DIR, ROOT, Case, main
from processes import Process, random_port

PACKAGES = ("jay-doc", "jay-tools", "libjay-dev", "libjay1", "python3-jaybus")

PROJECT = """cmake_minimum_required(VERSION 3.20)
project(outside LANGUAGES C CXX)
set(CMAKE_CXX_STANDARD 11)  # jay::jay raises it to what the headers need
find_package(jay 1.0 REQUIRED)
add_executable(sender hello_sender.cpp)
target_link_libraries(sender PRIVATE jay::jay)
add_executable(receiver hello_receiver.c)
target_link_libraries(receiver PRIVATE jay::jay)
find_package(jay 2 QUIET)
if(jay_FOUND)
    message(FATAL_ERROR "a later major version was asked for")
endif()
"""

# Every public header is there, with all that it includes, in the tree in which the sources name it.
ALL_HEADERS = '#include "jay.h"\n'


class Packages(Case):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name).resolve()

    def run_outside(self, *command, **environment):
        """Runs a command that sees nothing of the build, and returns what it says."""
        done = subprocess.run([str(word) for word in command], cwd=self.folder, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False,
                              env={"PATH": "/usr/bin:/bin", "HOME": str(self.folder), **environment})
        self.assertEqual(done.returncode, 0, f"{command}\n{done.stdout}")
        return done.stdout

    # ---- what is installed ----

    def install(self, prefix):
        self.run_outside("cmake", "--install", BUILD_DIR, "--prefix", prefix)
        return prefix

    def make_packages(self):
        """The files of the packages, by name. They hold the API reference, as those of the preset `package` do."""
        self.run_outside("cmake", "--build", BUILD_DIR, "--target", "docs")
        self.run_outside("cpack", "--config", BUILD_DIR / "CPackConfig.cmake", "-B", self.folder / "packages")
        files = {path.name.split("_")[0]: path for path in (self.folder / "packages").glob("*.deb")}
        self.assertEqual(sorted(files), sorted(PACKAGES))
        return files

    def unpack(self, files):
        """A root with the packages in it."""
        root = self.folder / "root"
        for path in files.values():
            self.run_outside("dpkg", "-x", path, root)
        return root

    def library_folder(self, prefix):
        (library,) = prefix.glob("lib/**/libjay.so.1")
        return library.parent

    # ---- programs of somebody else ----

    def copy_examples(self, prefix, target):
        target.mkdir()
        for name in ("hello_sender.cpp", "hello_receiver.c"):
            text = (prefix / "share" / "doc" / "jay" / "examples" / name).read_bytes()
            (target / name).write_bytes(text)
        return target

    def build_with_cmake(self, prefix):
        project = self.copy_examples(prefix, self.folder / "with-cmake")
        (project / "CMakeLists.txt").write_text(PROJECT)
        build = self.folder / "with-cmake-build"
        self.run_outside("cmake", "-S", project, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
                         "-DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF", "-DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF",
                         "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        self.run_outside("cmake", "--build", build)
        self.assertNotIn(str(ROOT), (build / "compile_commands.json").read_text())
        return build

    def build_with_pkg_config(self, prefix, **environment):
        target = self.copy_examples(prefix, self.folder / "with-pkg-config")
        (target / "all.cpp").write_text(ALL_HEADERS)
        environment.setdefault("PKG_CONFIG_LIBDIR", str(self.library_folder(prefix) / "pkgconfig"))
        flags = shlex.split(self.run_outside("pkg-config", "--cflags", "jay", **environment))
        libraries = shlex.split(self.run_outside("pkg-config", "--libs", "jay", **environment))
        for path in re.findall(r"-[IL](.*)", "\n".join(flags + libraries)):
            self.assertTrue(Path(path).resolve().is_relative_to(prefix), path)
        warnings = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
        self.run_outside("c++", "-std=c++17", *warnings, *flags, "-fsyntax-only", target / "all.cpp")
        self.run_outside("c++", "-std=c++17", *warnings, *flags, target / "hello_sender.cpp", *libraries, "-o", target / "sender")
        self.run_outside("cc", "-std=c99", *warnings, *flags, target / "hello_receiver.c", *libraries, "-o", target / "receiver")
        return target

    def start_outside(self, program, *arguments, **environment):
        process = Process(program, *arguments, env={"PATH": "/usr/bin:/bin", **environment})
        self.addCleanup(process.kill)
        return process

    def start_installed_server(self, prefix, **environment):
        for _ in range(20):
            port = random_port()
            server = self.start_outside(prefix / "bin" / "jayd", "--port", port, **environment)
            if server.err.next_line() == f"jayd: listening on port {port}":
                return port
        raise RuntimeError("the installed jayd does not start")

    def check_programs(self, folder, port, **environment):
        """The greeting goes from the program in C++ through the server to that in C."""
        receiver = self.start_outside(folder / "receiver", port, **environment)
        sender = self.start_outside(folder / "sender", port, **environment)
        self.assertEqual((sender.wait(), sender.out.text()), (0, "client 5 said: hello from C++\n"), sender.err.text())
        self.assertEqual(receiver.wait(), 0, receiver.err.text())
        self.assertIn("hello from C++", receiver.out.text())

    # ---- the tests ----

    def test_programs_are_built_against_the_packages_and_meet(self):
        files = self.make_packages()
        self.check_control_fields(files)
        prefix = self.unpack(files) / "usr"
        self.check_tools_package(prefix)
        self.check_manual_of_the_c_interface(prefix)
        environment = {"LD_LIBRARY_PATH": str(self.library_folder(prefix))}
        port = self.start_installed_server(prefix, **environment)
        self.check_programs(self.build_with_cmake(prefix), port)
        self.check_programs(self.build_with_pkg_config(prefix, PKG_CONFIG_SYSROOT_DIR=str(prefix.parent)), port, **environment)
        self.check_python_client(prefix, port)

    def test_lintian_has_no_warning(self):
        self.run_outside("lintian", "--allow-root", "--fail-on", "error,warning", *self.make_packages().values())

    def test_removing_the_tools_keeps_the_logs_and_purging_deletes_them(self):
        self.run_outside("dpkg-deb", "-e", self.make_packages()["jay-tools"], "control")
        root = self.folder / "root"
        kept = [root / "var/log/jay/jayd.log", root / "etc/default/jayd"]
        other = root / "etc/default/other"
        for path in [*kept, other]:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text("text\n")
        self.run_outside("control/postrm", "remove", DPKG_ROOT=str(root))
        self.assertTrue(all(path.exists() for path in kept))
        self.run_outside("control/postrm", "purge", DPKG_ROOT=str(root))
        self.assertFalse(any(path.exists() for path in [*kept, kept[0].parent]))
        self.assertTrue(other.exists())

    def test_an_installed_tree_with_a_blank_in_its_name_can_be_moved(self):
        self.install(self.folder / "first place")
        prefix = (self.folder / "first place").rename(self.folder / "the other place")
        port = self.start_installed_server(prefix)
        self.check_programs(self.build_with_cmake(prefix), port)
        environment = {"LD_LIBRARY_PATH": str(self.library_folder(prefix))}
        self.check_programs(self.build_with_pkg_config(prefix), port, **environment)
        self.assertEqual(self.run_outside(prefix / "bin" / "jay", "send", "--id", 1, "--to", 2, "--port", port, "hello"), "")
        self.check_python_client(prefix, port)
        self.check_nothing_names(self.folder / "first place", prefix)

    def check_control_fields(self, files):
        def field(name, package):
            return self.run_outside("dpkg-deb", "-f", files[package], name).strip()

        version = field("Version", "libjay1")
        self.assertEqual({field("Version", package) for package in PACKAGES}, {version})
        self.assertEqual([field("Architecture", package) for package in ("jay-doc", "python3-jaybus")], ["all", "all"])
        self.assertEqual(field("Depends", "python3-jaybus"), "python3:any (>= 3.9~)")
        self.assertEqual(field("Architecture", "libjay1"), self.run_outside("dpkg", "--print-architecture").strip())
        self.assertRegex(field("Depends", "libjay1"), r"libc6 \(>= .*libstdc\+\+6 \(>= ")
        self.assertNotIn("libjay", field("Depends", "libjay1"))
        self.assertIn(f"libjay1 (= {version})", field("Depends", "libjay-dev"))
        self.assertIn(f"libjay1 (= {version})", field("Depends", "jay-tools"))
        self.assertEqual([field("Section", package) for package in PACKAGES], ["doc", "utils", "libdevel", "libs", "python"])
        shlibs = self.run_outside("dpkg-deb", "-I", files["libjay1"], "shlibs")
        self.assertEqual(shlibs, f"libjay 1 libjay1 (>= {version})\n")

    def check_tools_package(self, prefix):
        for name in ("bin/jay", "bin/jayd", "share/man/man1/jay.1.gz", "share/man/man8/jayd.8.gz",
                     "share/bash-completion/completions/jay", "share/zsh/vendor-completions/_jay",
                     "lib/systemd/system/jayd.service", "lib/sysusers.d/jayd.conf", "share/jay/wireshark/jaybus.lua"):
            self.assertTrue((prefix / name).is_file(), f"no {name}")
        for name in ("jay", "jayd"):
            self.assertNotRegex(self.run_outside("readelf", "-d", prefix / "bin" / name), "R(UN)?PATH")
        for package in PACKAGES:
            self.assertIn("License: Expat", (prefix / "share" / "doc" / package / "copyright").read_text())
        self.assertFalse(list(prefix.glob("include/**/detail")))
        self.assertTrue((prefix / "share/doc/jay/api/classJString.html").is_file(), "no API reference")

    def check_python_client(self, prefix, port):
        """The package is there, typed, and reaches the server."""
        folder = prefix / "lib" / "python3" / "dist-packages"
        self.assertEqual([path.name for path in folder.rglob("*") if path.suffix not in (".py", ".typed")], ["jaybus"])
        self.assertTrue((folder / "jaybus" / "py.typed").is_file())
        program = f"import jaybus; bus = jaybus.BlockingClient(3, port={port}); bus.connect(); print(bus.request(3).source); bus.close()"
        self.assertEqual(self.run_outside("python3", "-B", "-c", program, PYTHONPATH=str(folder)), "3\n")

    def check_manual_of_the_c_interface(self, prefix):
        """Each function has a page, and `man` finds the right one."""
        for function in re.findall(r"^JAY_API .*\b(ca_\w+)\(", (ROOT / "bus" / "ca.h").read_text(), re.MULTILINE):
            page = prefix / "share" / "man" / "man3" / f"{function}.3.gz"
            self.assertIn(f".Nm {function}", self.run_outside("zcat", page))

    def check_nothing_names(self, place, prefix):
        """Neither the folder into which it was installed, nor the one it was built in."""
        for path in prefix.rglob("*"):
            if path.is_file() and path.suffix in (".cmake", ".pc", ".service", ".conf"):
                for folder in (place, BUILD_DIR, ROOT):
                    self.assertNotIn(str(folder), path.read_text(), path)


if __name__ == "__main__":
    main()
