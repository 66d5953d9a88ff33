"""``python -m tarvik`` is the command ``tarvik``."""

from tarvik.cli import main

main()
