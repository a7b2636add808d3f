"""A fresh Debian in a folder, made with this machine's package sources; needs root."""

import os
import pathlib
import re
import shutil
import subprocess

SECONDS = 300
SUITE = "bookworm"
USER = 1000  # programs run as this user, who has no name
# Logs, caches and the lists of what is installed.
OF_THE_PACKAGE_MANAGER = re.compile(r"(var/(cache|lib/(apt|dpkg|systemd)|log)|etc/ld\.so\.cache)\b")


def run(*command, **options):
    """Returns the output. A failure shows what the command printed."""
    result = subprocess.run(
        command,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        stdin=subprocess.DEVNULL,
        text=True,
        timeout=SECONDS,
        check=False,
        **options,
    )
    assert result.returncode == 0, "%s\n%s" % (" ".join(map(str, command)), result.stdout[-4000:])
    return result.stdout


def package_sources():
    """Returns the files that name this machine's package sources."""
    folder = pathlib.Path("/etc/apt")
    files = [folder / "sources.list", *folder.glob("sources.list.d/*")]
    return [file for file in files if file.suffix in (".list", ".sources") and file.is_file()]


def transport_options():
    """Returns how this machine reaches its package sources, as options of mmdebstrap."""
    options = subprocess.run(
        ["apt-config", "dump", "Acquire"], capture_output=True, text=True, check=True
    ).stdout
    wanted = re.findall(r"^(Acquire::(?:https?|Check-)\S* \".+\";)$", options, re.MULTILINE)
    return ["--aptopt=" + option for option in wanted]


def make_debian(folder, packages):
    """Makes a Debian with these packages and those that each Debian has."""
    assert os.getuid() == 0, "a fresh root needs root"
    run(
        "mmdebstrap",
        "--quiet",
        "--variant=apt",
        "--include=" + ",".join(sorted(packages)),
        "--format=directory",
        *transport_options(),
        SUITE,
        folder,
        *package_sources(),
    )


class FreshRoot:
    """A copy of a Debian, to change."""

    def __init__(self, debian, folder):
        self.folder = pathlib.Path(folder)
        run("cp", "-a", debian, self.folder)

    def close(self):
        shutil.rmtree(self.folder)

    def run(self, command, *arguments, chroot=(), network=True):
        """Runs a shell command in the root, in a process space and with terminals of its own."""
        script = """
            mount -t proc proc "$0/proc"
            mount -t devpts -o ptmxmode=666 devpts "$0/dev/pts"
            mount --bind "$0/dev/pts/ptmx" "$0/dev/ptmx"
            exec chroot "$@"
        """
        isolation = ["--mount", "--pid", "--fork", "--kill-child", *([] if network else ["--net"])]
        inside = [*chroot, self.folder, "sh", "-euc", command, "sh", *arguments]
        environment = {
            "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
            "HOME": "/tmp",
            "DEBIAN_FRONTEND": "noninteractive",
            "LC_ALL": "C.UTF-8",
        }
        return run(
            "unshare", *isolation, "sh", "-euc", script, self.folder, *inside, env=environment
        )

    def run_as_user(self, command, *arguments):
        """Runs a shell command without root's rights and without any network, not even loopback."""
        user = ["--userspec=%d:%d" % (USER, USER)]
        return self.run(command, *arguments, chroot=user, network=False)

    def install(self, packages):
        """Installs package files; what they need must be installed."""
        folder = self.folder / "packages"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        for package in packages:
            shutil.copy(package, folder)
        self.run("apt-get install --yes /packages/*.deb", network=False)
        shutil.rmtree(folder)

    def files(self):
        """Returns what is in the root, without what the package manager writes for itself."""
        found = set()
        for path, folders, files in os.walk(self.folder):
            found.update(
                os.path.relpath(os.path.join(path, name), self.folder) for name in folders + files
            )
        return {path for path in found if not OF_THE_PACKAGE_MANAGER.match(path)}
