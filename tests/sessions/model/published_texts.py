"""The texts of the console, from the one place where they are."""

import os

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "texts")


def published(name):
    """A text with {1}, {2} and so on where it varies."""
    with open(os.path.join(FOLDER, name + ".txt"), "rb") as file:
        return file.read()
