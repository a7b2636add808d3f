#!/usr/bin/env python3
"""Makes the packages of a build twice, unpacks them, and runs the installed programs.

packages_test.py BUILD_DIR VERSION PROCESSOR is_static|is_dynamic [-- EMULATOR...]
"""

import glob
import gzip
import os
import re
import subprocess
import sys
import tempfile
import unittest

BUILD_DIR = VERSION = PROCESSOR = None
EMULATOR = []

ARCHITECTURES = {"x86_64": "amd64", "ppc": "powerpc", "aarch64": "arm64"}
TRIPLETS = {
    "x86_64": "x86_64-linux-gnu",
    "ppc": "powerpc-linux-gnu",
    "aarch64": "aarch64-linux-gnu",
}
PROGRAMS = {
    "SubtitleMgrCli": "subtitlemgr-cli",
    "SubtitleMgrCtl": "subtitlemgr-sim",
    "SubtitleMgrSim": "subtitlemgr-sim",
    "SubtitleMgrTap": "subtitlemgr-cli",
    "SubtitleMgrView": "subtitlemgr-view",
}
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PLUGIN = "python3-pytest-subtitle"
WITHOUT_PROGRAMS = ("subtitlemgr-dev", "subtitlemgr-doc", PLUGIN)
CONTENTS = {
    package: [
        "usr/share/doc/%s/%s" % (package, name)
        for name in ("CHANGELOG.md", "changelog.gz", "copyright")
    ]
    for package in (*PROGRAMS.values(), *WITHOUT_PROGRAMS)
}
for _program, _package in PROGRAMS.items():
    CONTENTS[_package] += [
        "usr/bin/" + _program,
        "usr/share/bash-completion/completions/" + _program,
        "usr/share/fish/vendor_completions.d/%s.fish" % _program,
        "usr/share/man/man1/%s.1.gz" % _program,
        "usr/share/zsh/vendor-completions/_" + _program,
    ]
CONTENTS["subtitlemgr-cli"] += [
    "usr/share/doc/subtitlemgr-cli/subtitle-recording.schema.json",
    "usr/share/man/man5/subtitle-recording.5.gz",
]
CONTENTS["subtitlemgr-sim"] += [
    "usr/share/man/man5/subtitle-scenario.5.gz",
    "usr/lib/systemd/user/subtitlemgr-sim.service",
    "usr/share/subtitlemgr-sim/demo.scenario",
]
CONTENTS["subtitlemgr-view"] += ["usr/share/doc/subtitlemgr-view/examples/demo"]
CONTENTS["subtitlemgr-doc"] += [
    "usr/share/doc/subtitlemgr-doc/" + os.path.relpath(path, ROOT)
    for path in (
        *glob.glob(ROOT + "/docs/*.md"),
        *glob.glob(ROOT + "/docs/pictures/*"),
        ROOT + "/README.md",
        ROOT + "/CONTRIBUTING.md",
    )
]
CONTENTS[PLUGIN] += [
    *(
        "usr/share/doc/%s/examples/%s" % (PLUGIN, os.path.basename(path))
        for path in glob.glob(ROOT + "/docs/examples/*")
    ),
    *(
        "usr/lib/python3/dist-packages/pytest_subtitle/" + os.path.basename(path)
        for path in glob.glob(ROOT + "/python/pytest_subtitle/*.py")
    ),
]


def contents_of_dev(triplet):
    """The list for an architecture; triplet is its name in the folders of libraries."""
    return [
        *(
            "usr/include/subtitlemgr/" + os.path.basename(path)
            for path in glob.glob(ROOT + "/platform/include/*.h")
        ),
        "usr/lib/%s/cmake/SubtitleSdk/SubtitleSdkConfig.cmake" % triplet,
        "usr/lib/%s/cmake/SubtitleSdk/SubtitleSdkConfigVersion.cmake" % triplet,
        "usr/lib/%s/libsubtitle_platform.a" % triplet,
        "usr/lib/%s/pkgconfig/subtitlesdk.pc" % triplet,
        "usr/share/doc/subtitlemgr-dev/examples/CMakeLists.txt",
        "usr/share/doc/subtitlemgr-dev/examples/show_visibility.cpp",
    ]


# The package of each library, and the release that introduced a symbol version.
LIBRARIES = {
    "libc.so.6": "libc6",
    "libm.so.6": "libc6",
    "ld.so.1": "libc6",
    "ld-linux-x86-64.so.2": "libc6",
    "libgcc_s.so.1": "libgcc-s1",
    "libmicrohttpd.so.12": "libmicrohttpd12",
    "libpng16.so.16": "libpng16-16",
    "libstdc++.so.6": "libstdc++6",
    "libatomic.so.1": "libatomic1",
}
SYMBOLS = {"GLIBCXX": "libstdc++6", "GLIBC": "libc6", "GCC": "libgcc-s1"}
LIBSTDCXX_RELEASES = {"3.4.26": "9", "3.4.28": "10.2", "3.4.29": "11", "3.4.30": "12"}


def output_of(*command, **options):
    return subprocess.run(
        command, check=True, capture_output=True, text=True, timeout=60, **options
    ).stdout


def numbers(version):
    return tuple(int(number) for number in version.split("."))


def files_below(folder):
    return sorted(
        os.path.relpath(os.path.join(path, name), folder)
        for path, _, names in os.walk(folder)
        for name in names
    )


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.scratch = scratch.name
        cls.first = cls.make("first", "umask 022", "UTC")
        cls.root = os.path.join(cls.scratch, "root")
        for package in cls.first.values():
            output_of("dpkg-deb", "-x", package, cls.root)

    @classmethod
    def make(cls, name, umask, zone):
        """Makes the packages in a separate folder. Returns them by name."""
        folder = os.path.join(cls.scratch, name)
        environment = {**os.environ, "SOURCE_DATE_EPOCH": "1700000000", "TZ": zone}
        script = umask + ' && exec cpack -B "$0"'
        output_of("sh", "-c", script, folder, cwd=BUILD_DIR, env=environment)
        return {os.path.basename(path).split("_")[0]: path for path in glob.glob(folder + "/*.deb")}

    def field(self, package, name):
        return output_of("dpkg-deb", "-f", self.first[package], name).strip()

    def installed(self, program, *arguments):
        return EMULATOR + [os.path.join(self.root, "usr/bin", program), *arguments]

    def test_are_the_client_and_the_service(self):
        self.assertEqual(sorted(self.first), sorted(CONTENTS))
        for package, path in self.first.items():
            is_for_all = package in ("subtitlemgr-doc", PLUGIN)
            architecture = "all" if is_for_all else ARCHITECTURES[PROCESSOR]
            self.assertEqual(
                os.path.basename(path), "%s_%s_%s.deb" % (package, VERSION, architecture)
            )
            self.assertEqual(self.field(package, "Version"), VERSION)
            self.assertEqual(self.field(package, "Architecture"), architecture)

    def test_contain_the_listed_files_only(self):
        for package, contents in CONTENTS.items():
            folder = os.path.join(self.scratch, package)
            output_of("dpkg-deb", "-x", self.first[package], folder)
            self.assertEqual(files_below(folder), sorted(contents))

    def test_have_the_same_bytes_when_made_twice(self):
        second = self.make("second", "umask 022", "Asia/Tokyo")
        for package, path in self.first.items():
            with open(path, "rb") as one, open(second[package], "rb") as other:
                self.assertTrue(one.read() == other.read(), package + " differs")

    def test_do_not_depend_on_the_folder_of_the_checkout(self):
        for program in PROGRAMS:
            # The programs are not stripped yet: the build id depends on the debugging information.
            with open(os.path.join(BUILD_DIR, "bin", program), "rb") as file:
                self.assertFalse(ROOT.encode() in file.read(), program)

    def test_are_readable_by_all_and_owned_by_root(self):
        for path in self.make("private", "umask 077", "UTC").values():
            for line in output_of("dpkg-deb", "-c", path).splitlines():
                mode, owner, *_, name = line.split()
                self.assertEqual(owner, "root/root", line)
                is_run = name.endswith(("/", "/examples/demo")) or "/usr/bin/S" in name
                self.assertEqual(mode[1:], "rwxr-xr-x" if is_run else "rw-r--r--", line)

    def test_name_the_libraries_that_the_programs_are_linked_with(self):
        for program, package in PROGRAMS.items():
            named = dict(re.findall(r"(\S+) \(>= ([\d.]+)\)", self.field(package, "Depends")))
            path = os.path.join(self.root, "usr/bin", program)
            needed = re.findall(r"\(NEEDED\).*\[(\S+)\]", output_of("readelf", "-d", path))
            self.assertEqual(set(named), {LIBRARIES[library] for library in needed})
            symbols = re.findall(
                r"Name: (GLIBCXX|GLIBC|GCC)_([\d.]+)", output_of("readelf", "-V", path)
            )
            for kind, version in symbols:
                release = version
                if kind == "GLIBCXX":
                    # Every supported release has the older versions.
                    self.assertLessEqual(numbers(version), (3, 4, 30), "add it to this test")
                    release = LIBSTDCXX_RELEASES.get(version, "4")
                self.assertGreaterEqual(
                    numbers(named[SYMBOLS[kind]]), numbers(release), (program, kind, version)
                )

    def test_reserve_all_rights(self):
        for package in CONTENTS:
            path = os.path.join(self.root, "usr/share/doc", package, "copyright")
            with open(path, encoding="utf-8") as file:
                self.assertIn("All rights reserved.", file.read())
        for page in glob.glob(self.root + "/usr/share/man/man*/*.gz"):
            with gzip.open(page, "rt", encoding="utf-8") as file:
                self.assertIn("All rights reserved.", file.read(), page)

    def test_have_a_changelog_with_the_time_of_the_source(self):
        for package in CONTENTS:
            path = os.path.join(self.root, "usr/share/doc", package, "changelog.gz")
            with gzip.open(path, "rt", encoding="utf-8") as file:
                changelog = file.read()
            self.assertIn("%s (%s) " % (package, VERSION), changelog)
            self.assertIn(
                "\n -- %s  Tue, 14 Nov 2023 " % self.field(package, "Maintainer"), changelog
            )

    def test_have_programs_without_debugging_symbols(self):
        for program in PROGRAMS:
            sections = output_of("readelf", "-SW", os.path.join(self.root, "usr/bin", program))
            self.assertNotIn(".debug_info", sections)
            self.assertNotIn(".symtab", sections)

    def test_have_a_service_that_prints_its_version(self):
        version = output_of(*self.installed("SubtitleMgrSim", "--version"))
        self.assertEqual(version, "SubtitleMgrSim %s\n" % VERSION)
        self.assertIn("--journal", output_of(*self.installed("SubtitleMgrSim", "--help")))

    def test_have_programs_that_work_together(self):
        environment = dict(os.environ, LINX_DIR=os.path.join(self.scratch, "linx"))
        scenario = os.path.join(self.root, "usr/share/subtitlemgr-sim/demo.scenario")
        service = subprocess.Popen(
            self.installed("SubtitleMgrSim", "--quiet", "--play", scenario, "--loop"),
            stdout=subprocess.PIPE,
            env=environment,
            text=True,
        )
        self.addCleanup(service.communicate)
        self.addCleanup(service.kill)
        self.assertEqual(service.stdout.readline(), "ready\n")
        ping = output_of(*self.installed("SubtitleMgrCli", "-p"), env=environment)
        self.assertEqual(ping, "Let's Ping\nSuccessful Ping\n")
        console = subprocess.Popen(
            self.installed("SubtitleMgrCli", "-i"),
            text=True,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            env=environment,
        )
        console.stdin.write("1\n")
        console.stdin.flush()
        # The demo's traffic reaches the console; without traffic the test times out.
        while not console.stdout.readline().startswith("CLI: Process region"):
            self.assertIsNone(console.poll())
        self.assertEqual(console.communicate("x\n", timeout=60)[0][-1:], "\n")
        output_of(*self.installed("SubtitleMgrCli", "-q"), env=environment)
        self.assertEqual(service.wait(60), 0)

    def test_have_a_plugin_that_runs_its_examples(self):
        if PLUGIN not in self.first:
            self.skipTest("the plugin is for the desk")
        for name in ("python3-pytest ", "python3-pexpect", "subtitlemgr-cli", "subtitlemgr-sim"):
            self.assertIn(name, self.field(PLUGIN, "Depends"))
        environment = {
            **os.environ,
            "PATH": os.path.join(self.root, "usr/bin") + os.pathsep + os.environ["PATH"],
            "PYTHONPATH": os.path.join(self.root, "usr/lib/python3/dist-packages"),
        }
        examples = glob.glob(self.root + "/usr/share/doc/%s/examples/*.py" % PLUGIN)
        command = ("/usr/bin/pytest", "-q", "-p", "no:cacheprovider", *examples)
        self.assertIn("3 passed", output_of(*command, env=environment, cwd=self.scratch))

    def test_install_the_same_files_as_cmake_does(self):
        prefix = os.path.join(self.scratch, "prefix")
        output_of("cmake", "--install", BUILD_DIR, "--prefix", prefix)
        expected = sorted(
            path.removeprefix("usr/").removesuffix(".gz")
            for contents in CONTENTS.values()
            for path in contents
            if "/changelog" not in path and "/lintian/" not in path  # Debian's own
        )
        self.assertEqual(files_below(prefix), expected)


if __name__ == "__main__":
    if "--" in sys.argv:
        at = sys.argv.index("--")
        EMULATOR = sys.argv[at + 1 :]
        sys.argv = sys.argv[:at]
        del CONTENTS[PROGRAMS.pop("SubtitleMgrView")], CONTENTS[PLUGIN]  # for the desk only
    BUILD_DIR, VERSION, PROCESSOR, KIND = sys.argv[1:5]
    if PLUGIN in CONTENTS:
        CONTENTS[PLUGIN] += [
            "usr/lib/python3/dist-packages/pytest_subtitle-%s.dist-info/%s" % (VERSION, _name)
            for _name in ("METADATA", "entry_points.txt")
        ]
    CONTENTS["subtitlemgr-dev"] += contents_of_dev(TRIPLETS[PROCESSOR])
    if "subtitlemgr-view" in CONTENTS:
        _dissector = "usr/lib/%s/wireshark/plugins/subtitlemgr.lua" % TRIPLETS[PROCESSOR]
        CONTENTS["subtitlemgr-view"].append(_dissector)
    if KIND == "is_static":
        for _package in set(PROGRAMS.values()):
            CONTENTS[_package].append("usr/share/lintian/overrides/" + _package)
    unittest.main(argv=sys.argv[:1], verbosity=2)
