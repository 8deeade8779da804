"""Adds messages to a Maildir with Python's module mailbox.

usage: maildir_peer.py DIRECTORY
"""

import mailbox
import sys

from resident import serve


def main() -> None:
    box = mailbox.Maildir(sys.argv[1])
    serve(lambda: box.add(b"\ntrue\n"))


if __name__ == "__main__":
    main()
