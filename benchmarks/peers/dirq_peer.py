"""Adds elements to a directory queue with python3-dirq.

usage: dirq_peer.py DIRECTORY
"""

import sys

from dirq.QueueSimple import QueueSimple

from resident import serve


def main() -> None:
    queue = QueueSimple(sys.argv[1])
    serve(lambda: queue.add("true\n"))


if __name__ == "__main__":
    main()
