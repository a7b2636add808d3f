"""A growing file with a JSON object on each line: a journal or a recording."""

import json
import os


class JsonLines:
    """Reads such a file; the file need not exist yet, and its last line need not be whole."""

    def __init__(self, path):
        self.path = path
        self.objects = []
        self.size = 0  # of the lines that were read

    def read(self):
        """Returns the objects of all whole lines."""
        if os.path.exists(self.path):
            with open(self.path, "rb") as file:
                file.seek(self.size)
                whole_lines = file.read().rpartition(b"\n")[0]
            if whole_lines:
                self.size += len(whole_lines) + 1
                self.objects += map(json.loads, whole_lines.split(b"\n"))
        return self.objects
