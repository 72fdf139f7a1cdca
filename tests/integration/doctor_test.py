#!/usr/bin/python3
"""kelvo-finder doctor in a session where all is well, and in ones where something is not.

    doctor_test.py BUILD_FOLDER [unittest arguments]
"""
import json
import os
import signal
import subprocess
import sys
import unittest

from bus_client import NAME
from desktop_session import PrivateSession, wait_until
from sample_agent import SampleAgent

BUILD = None
PATIENCE = 60  # seconds
SOCKET = "com.kelvo.vip.kelvoFinderSync"
ORDER = ["session-bus", "extension", "runtime-folder", "agent-socket", "agent-connection",
         "configuration", "watched-folders", "nemo-plugin", "nautilus-plugin", "caja-plugin",
         "dolphin-plugin", "other-extensions", "icons", "secret-service", "log"]


class DoctorTest(unittest.TestCase):
    def setUp(self):
        self.session = PrivateSession(share=BUILD + "/share")
        self.addCleanup(self.session.close)
        self.environment = self.session.environment
        # A program and a plug-in folder stand for an installed file manager.
        programs = os.path.join(self.session.folder, "programs")
        os.makedirs(programs)
        for name in ("caja", "dolphin"):
            with open(os.path.join(programs, name), "w", encoding="utf-8") as file:
                os.fchmod(file.fileno(), 0o755)
                file.write("#!/bin/sh\n")
        self.environment.update({"PATH": programs + ":" + self.environment["PATH"],
                                 "XDG_CURRENT_DESKTOP": "MATE",
                                 "CAJA_EXTENSION_DIRS": BUILD + "/lib/caja-extensions",
                                 "QT_PLUGIN_PATH": BUILD + "/lib/dolphin-plugins"})
        self.work = os.path.join(self.session.home, "Work")
        os.makedirs(self.work)

    def start(self):
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})
        self.agent = SampleAgent(self.session, BUILD + "/bin/kelvo-sample-agent", self.work)

    def examine(self, *limits):
        """The exit code, and the checks by their names."""
        done = subprocess.run([*limits, BUILD + "/bin/kelvo-finder", "doctor", "--json"],
                              check=False, env=self.environment, capture_output=True,
                              timeout=PATIENCE)
        report = json.loads(done.stdout)
        self.assertEqual([check["id"] for check in report["checks"]], ORDER)
        self.assertEqual(report["ok"], done.returncode == 0)
        return done.returncode, {check["id"]: check for check in report["checks"]}

    def wait_state(self, wanted):
        """Until each of these checks has its state; the checks."""
        seen = {}

        def as_wanted():
            code, checks = self.examine()
            seen.update({name: (checks[name]["state"], checks[name]["found"]) for name in wanted})
            return {name: checks[name]["state"] for name in wanted} == wanted and (code, checks)
        return wait_until(as_wanted, PATIENCE, lambda: "checks are %r" % seen)

    def test_all_is_well_until_the_agent_ends_and_its_folder_goes(self):
        self.start()
        well = ("session-bus", "extension", "runtime-folder", "agent-socket", "agent-connection",
                "configuration", "watched-folders", "caja-plugin", "icons")
        code, checks = self.wait_state({name: "ok" for name in well})
        self.assertEqual(code, 0)
        self.assertIn(self.work + " is there.", checks["watched-folders"]["found"])
        # This session has no secret service, which is not needed for badges.
        self.assertEqual(checks["secret-service"]["state"], "warning")

        self.session.end(self.agent.process)
        os.rmdir(self.work)
        code, checks = self.wait_state({"agent-socket": "problem", "agent-connection": "problem",
                                        "watched-folders": "problem", "extension": "ok"})
        self.assertEqual(code, 1)
        self.assertIn("Start the Kelvo Agent", " ".join(checks["agent-socket"]["advice"]))
        self.assertIn(self.work + " does not exist.", checks["watched-folders"]["found"])

    def test_an_extension_that_hangs_is_told_from_one_that_does_not_start(self):
        self.start()
        self.wait_state({"agent-connection": "ok"})
        process = self.session.owner_process(NAME)
        os.kill(process, signal.SIGSTOP)
        self.addCleanup(os.kill, process, signal.SIGCONT)
        checks = self.wait_state({"extension": "problem", "icons": "skipped"})[1]
        self.assertIn("kill %d" % process, " ".join(checks["extension"]["advice"]))

    def test_without_a_bus_the_rest_is_examined(self):
        os.symlink("/nowhere", os.path.join(self.session.runtime, SOCKET))
        checks = self.wait_state({"session-bus": "problem", "extension": "skipped",
                                  "agent-socket": "problem", "configuration": "problem",
                                  "caja-plugin": "ok", "secret-service": "skipped"})[1]
        self.assertIn("is a link", " ".join(checks["agent-socket"]["found"]))
        self.assertEqual(os.listdir(self.session.home + "/.config"), [])
        self.assertNotIn("Library", os.listdir(self.session.home))  # it leaves nothing behind

    def test_what_a_user_switched_off_in_dolphin_is_told(self):
        kinds = ("overlayicon", "kfileitemaction", "propertiesdialog")
        if not os.path.exists(BUILD + "/lib/dolphin-plugins"):
            self.skipTest("the plug-in of Dolphin is not built")
        checks = self.wait_state({"dolphin-plugin": "ok"})[1]
        found = " ".join(checks["dolphin-plugin"]["found"])
        for kind in kinds:
            self.assertIn(kind + "/kelvo-finder-sync.so is installed and can be loaded.", found)
        with open(self.session.home + "/.config/kservicemenurc", "w", encoding="utf-8") as file:
            file.write("[Show]\nkelvo-finder-sync=false\n")
        checks = self.wait_state({"dolphin-plugin": "warning"})[1]
        self.assertIn("switched off", checks["dolphin-plugin"]["found"][-1])

    def test_without_threads_it_reports_what_it_can(self):
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})
        code, checks = self.examine("prlimit", "--stack=%d:" % (1 << 46))  # of each thread
        self.assertEqual(code, 1)
        self.assertIn("no threads", checks["session-bus"]["found"][0])
        self.assertEqual(checks["runtime-folder"]["state"], "ok")

    def test_an_extension_that_cannot_be_started_is_a_problem(self):
        self.session.start({NAME: "/bin/false"})
        checks = self.wait_state({"session-bus": "ok", "extension": "problem"})[1]
        self.assertIn("could not start", " ".join(checks["extension"]["found"]))


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
