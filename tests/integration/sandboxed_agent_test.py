#!/usr/bin/python3
"""An Agent in a sandbox: mounts, processes and user numbers of its own, as Flatpak gives them.

    sandboxed_agent_test.py BUILD_FOLDER [unittest arguments]

The ways of docs/agent.md by which its socket comes to the rendezvous of an extension outside.
"""
import os
import subprocess
import sys
import unittest

from bus_client import NAME, BusClient
from desktop_session import PrivateSession, wait_until
from sample_agent import SampleAgent

BUILD = None
SOCKET = "com.kelvo.vip.kelvoFinderSync"
PATIENCE = 30  # seconds
USER = "4711"  # the Agent's number in its sandbox
# The folder shown in the place of another, then, as the user of that number, the Agent.
ENTER = ('mount --bind "$1" "$2" && shift 2 && exec unshare -U --map-user=%s --map-group=%s '
         """sh -c 'id -u && exec "$@"' sh "$@" """ % (USER, USER))
SKIPPED = 77  # as CTest is told
NAMESPACES = ["unshare", "-Urmpf", "--kill-child"]


class BoxedAgent(SampleAgent):
    """The sample Agent where `shown`, outside, is the runtime folder."""

    def __init__(self, session, folder, shown):
        self._inside = os.path.join(session.folder, "inside")
        self._shown = shown
        self.socket = os.path.join(shown, SOCKET)
        os.makedirs(self._inside, mode=0o700, exist_ok=True)
        super().__init__(session, BUILD + "/bin/kelvo-sample-agent", folder)

    def start(self):
        before = self.output().count("listening at")
        self.process = self._session.spawn(
            NAMESPACES + ["sh", "-c", ENTER, "sh", self._shown, self._inside, "env",
                          "XDG_RUNTIME_DIR=" + self._inside] + self._command_line,
            stdin=subprocess.PIPE)
        wait_until(lambda: self.output().count("listening at") > before, PATIENCE,
                   lambda: "a socket of the Agent's\n" + self.output())

    def end(self):
        self.process.kill()  # and with it, at once, all inside
        self.process.wait()

    def output(self):
        return self._session.output("unshare")


class SandboxedAgentTest(unittest.TestCase):
    def setUp(self):
        self.session = PrivateSession()
        self.addCleanup(self.session.close)
        self.session.start({NAME: BUILD + "/bin/kelvo-finder-sync"})
        self.work = os.path.join(self.session.home, "Work")
        os.mkdir(self.work)
        self.client = BusClient(self.session.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.client.close)
        self.rendezvous = os.path.join(self.session.runtime, SOCKET)

    def start_agent(self, shown):
        agent = BoxedAgent(self.session, self.work, shown)
        self.addCleanup(agent.end)
        return agent

    def check_badges(self, agent, folder):
        """A folder that nobody has asked about gets its badges, by way of the Agent's checks."""
        folder = os.path.join(self.work, folder)
        os.mkdir(folder)
        with open(os.path.join(folder, "a"), "w", encoding="utf-8"):
            pass
        self.client.request(folder, ["a"])
        self.client.wait_badges(folder, {"a": "1"})
        self.assertIn("connection 1: from process 0\n", agent.output(),
                      "the extension's process has no number in there")
        self.assertEqual(agent.output().split("\n", 1)[0], USER)

    def log(self):
        return self.session.extension_log()

    def connected(self):
        return self.client.get("AgentConnected").get_boolean()

    def test_the_folder_of_the_rendezvous_is_shown(self):
        agent = self.start_agent(self.session.runtime)
        self.check_badges(agent, "first")
        agent.end()
        wait_until(lambda: not self.connected(), PATIENCE, "the loss")
        agent.start()  # another socket, in the same folder
        self.check_badges(agent, "second")

    def test_a_socket_elsewhere_is_linked_to_the_rendezvous(self):
        elsewhere = os.path.join(self.session.runtime, "app")
        os.mkdir(elsewhere, mode=0o700)
        agent = self.start_agent(elsewhere)
        os.symlink(agent.socket, self.rendezvous)
        self.assertFalse(self.connected())
        wait_until(lambda: SOCKET + " is a link, which is not followed" in self.log(), PATIENCE,
                   "the refusal")

        for folder in ("first", "second"):
            os.unlink(self.rendezvous)
            os.link(agent.socket, self.rendezvous)
            self.check_badges(agent, folder)
            agent.end()
            wait_until(lambda: not self.connected(), PATIENCE, "the loss")
            agent.start()
            self.assertFalse(os.path.samefile(agent.socket, self.rendezvous),
                             "a link is of one socket; it is made anew for the next")


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    if subprocess.run(NAMESPACES + ["true"], capture_output=True, check=False).returncode:
        print("SKIPPED: this system allows no user namespaces")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)
