#!/usr/bin/python3
"""The extension as the session bus has systemd start it: what it may do then, and its browser.

    unit_test.py BUILD_FOLDER

Needs systemd's programs, and mounts of its own; the machine need not have been started by systemd.
"""
import os
import re
import subprocess
import sys
import unittest

import web_access_test
from bus_client import NAME
from desktop_session import SessionError, enter_private_mounts, wait_until

BUILD = None
MANAGER = "/lib/systemd/systemd"
PATIENCE = 30
BUS_UNITS = {
    "dbus.socket": "[Socket]\nListenStream=%t/bus\n",
    "dbus.service": "[Service]\nExecStart=/usr/bin/dbus-daemon --session --address=systemd: --nofork"
                    " --nopidfile --systemd-activation\n"}


class UnitTest(web_access_test.WebAccessTest):
    test_a_failure_opens_nothing = None

    def start_session(self):
        """A service manager with the unit and the activation file as they are installed."""
        units = os.path.join(self.session.folder, "units")
        activation = os.path.join(self.session.environment["XDG_DATA_HOME"], "dbus-1/services")
        files = {os.path.join(units, name): text for name, text in BUS_UNITS.items()}
        for name, folder in (("kelvo-finder-sync.service", units), (NAME + ".service", activation)):
            with open(os.path.join(BUILD, "packaging", name), encoding="utf-8") as file:
                text, count = re.subn("^(Exec(?:Start)?=).*$", r"\1" + BUILD + "/bin/kelvo-finder-sync",
                                      file.read(), flags=re.MULTILINE)
            self.assertEqual(count, 1)
            files[os.path.join(folder, name)] = text
        for path, text in files.items():
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        self.session.environment.update({
            "SYSTEMD_UNIT_PATH": units + ":/usr/lib/systemd/user", "SYSTEMD_LOG_TARGET": "console",
            "DBUS_SESSION_BUS_ADDRESS": "unix:path=" + self.session.runtime + "/bus"})
        manager = self.session.spawn([MANAGER, "--user", "--unit=dbus.socket"])

        def serves():
            if manager.poll() is not None:
                raise SessionError("the manager has ended:\n" + self.session.output("systemd"))
            return self.session.owner_process("org.freedesktop.systemd1")
        wait_until(serves, PATIENCE, lambda: "a manager:\n" + self.session.output("systemd"))

    def test_entries_open_pages_signed_in(self):
        super().test_entries_open_pages_signed_in()
        extension = "/proc/%d/" % self.session.owner_process(NAME)
        with open(extension + "cgroup", encoding="utf-8") as file:
            self.assertIn("/kelvo-finder-sync.service", file.read(), "it runs as that unit")
        with open(extension + "limits", encoding="utf-8") as file:
            self.assertRegex(file.read(), r"Max core file size +0 ")
        with open(extension + "status", encoding="utf-8") as file:
            self.assertRegex(file.read(), r"NoNewPrivs:\t1\nSeccomp:\t2\n")
        with open(self.visits + ".status", encoding="utf-8") as file:
            self.assertRegex(file.read(), r"NoNewPrivs:\t0\nSeccomp:\t0\n")


class WithoutManagerTest(web_access_test.WebAccessTest):
    test_a_failure_opens_nothing = None

    def start_session(self):
        self.session.start({NAME: "/usr/bin/setpriv --no-new-privs %s/bin/kelvo-finder-sync" % BUILD})

    def test_entries_open_pages_signed_in(self):
        super().test_entries_open_pages_signed_in()
        self.assertIn("The service manager starts no browser: ", self.log())


if __name__ == "__main__":
    if not os.path.exists(MANAGER):
        print("skipped: there is no " + MANAGER)
        sys.exit(77)
    enter_private_mounts()
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/run"], check=True)
    os.makedirs("/run/systemd/system")  # which the manager takes for the machine's having been started so
    BUILD = web_access_test.BUILD = os.path.abspath(sys.argv.pop(1))
    del web_access_test.WebAccessTest
    unittest.main(verbosity=2)
