"""A Windows of Wine's own for one test run, and programs in it."""
import os
import shutil
import subprocess
import sys
import time
import uuid
from pathlib import Path


def ensure_display():
    """Runs this script once more, on a screen of its own, if it has none: Windows picks one when it starts."""
    if not os.environ.get("DISPLAY"):
        again = [sys.executable, *sys.argv]
        sys.exit(subprocess.run(["xvfb-run", "-a", "-s", "-screen 0 1280x1024x24", *again], check=False).returncode)


class Windows:
    """Made from the template of the tool chain's scripts in `tools`; gone after close()."""

    def __init__(self, tools):
        self.tools = Path(tools)
        cache = Path(os.environ.get("KV_CACHE") or Path.home() / ".cache" / "kvprogram")
        # Not the process's number: each container that shares the cache counts its own.
        self.prefix = cache / "wine" / f"e2e-{uuid.uuid4().hex[:12]}"
        self.environment = dict(os.environ, WINEPREFIX=str(self.prefix), KV_WINEPREFIX=str(self.prefix))
        # What the host would take from outside has no place in these tests.
        for name in ("KVPROGRAM_MACHINE", "KVPROGRAM_METADATA", "KV_PACKAGE_SCRIPT", "QT_QPA_PLATFORM"):
            self.environment.pop(name, None)
        subprocess.run([self.tools / "prefix.sh", self.prefix], check=True, env=self.environment)

    def close(self):
        subprocess.run(["wineserver", "-k"], env=self.environment, check=False)
        subprocess.run(["wineserver", "-w"], env=self.environment, check=False)
        shutil.rmtree(self.prefix)

    def run(self, program, *arguments, timeout=60):
        """Runs a program, given by its path on either system, and gives its CompletedProcess with bytes."""
        command = [self.tools / "run-under-wine", program, *arguments]
        done = subprocess.run(command, env=self.environment, capture_output=True, timeout=timeout, check=False)
        # Wine's screen has no name, of which Qt complains.
        lines = done.stderr.replace(b"\r\n", b"\n").splitlines(keepends=True)
        done.stderr = b"".join(line for line in lines if not line.startswith(b"qt.qpa.screen: "))
        return done

    def register_packages(self, server):
        """Makes the DLL the one that answers for the package classes; it has no packages yet."""
        register = Path(__file__).resolve().parent.parent / "packageserver" / "with-packages"
        subprocess.run(
            [register, self.tools, server, "--register"], env=self.environment, check=True, capture_output=True
        )

    def serve_packages(self, script):
        """Lets that DLL serve what a script tells, from the next program on."""
        self.environment["KV_PACKAGE_SCRIPT"] = windows_path(script)

    def path(self, path):
        """Where this system sees a file that Windows calls C:/..."""
        return self.prefix / "drive_c" / path.removeprefix("C:/")

    def has_key(self, key):
        return self.run("reg", "query", key).returncode == 0

    def wait_until_gone(self, path, seconds=20):
        """An uninstaller ends before its work does, since a copy of it does that."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if not self.path(path).exists():
                return True
            time.sleep(0.05)
        return False


def windows_path(path):
    """The path by which Windows programs reach a file of this system."""
    return "Z:" + str(path).replace("/", "\\")
