#!/usr/bin/python3
"""An Agent that knows an answer about every folder, at once and without a look at the disk.

    quick_agent.py    in the runtime folder of a session, until it is ended
"""
import os
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[1:1] = [os.path.join(HERE, "..", "soak"), os.path.join(HERE, "..", "integration")]
from soak_agent import IN_SYNC, STATES, SoakAgent  # noqa: E402

WAITING = STATES[1]  # badge 2
GUARDED = {"f%05d" % i: IN_SYNC for i in range(20)}


class EveryFolder:
    """As the folders of SoakAgent, when only lists are asked for."""

    @staticmethod
    def get(path, otherwise):
        name = os.path.basename(path)
        if name in GUARDED:
            return otherwise  # no folder
        return GUARDED if name == "guarded" else {"f00000": WAITING}


def main():
    agent = SoakAgent(os.environ["XDG_RUNTIME_DIR"])
    agent.folders = EveryFolder()
    while not agent.failure:
        time.sleep(1)
    raise agent.failure


if __name__ == "__main__":
    main()
