"""Reads the texts of the console from tests/sessions/texts/."""

import os

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "texts")


def published(name):
    """Returns a text with {1}, {2} and so on for its variable parts."""
    with open(os.path.join(FOLDER, name + ".txt"), "rb") as file:
        return file.read()
