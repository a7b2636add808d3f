"""The traffic statistics: counters per region and format, and the report of them."""

from session_file import global_text

REGIONS = 14
FORMATS = 4
MASK = 0xFFFFFFFF

HEADER = (global_text("report-head") + "\n").encode()


def share(part, whole):
    """Returns a share in percent as a stream prints it, also a share of 0."""
    if whole:
        return "%.1f" % (float(part) / float(whole) * 100)
    return "inf" if part else "nan"


class Traffic:
    """The counters since the start or the last clearing."""

    def __init__(self):
        self.clear()

    def clear(self):
        """Sets every counter to 0."""
        self.messages = [[0] * FORMATS for _ in range(REGIONS)]
        self.sizes = [[0] * FORMATS for _ in range(REGIONS)]

    def add_data(self, region, form, size):
        """Counts a bitmap. Returns the printed text."""
        if region > REGIONS:
            return b"AddRegionData: regionId out of range: " + bytes([region]) + b"\n"
        if region == 0:
            return b""
        if form >= FORMATS:
            return b"AddRegionData: subtitleFormat out of range: " + bytes([form]) + b"\n"
        self.messages[region - 1][form] = (self.messages[region - 1][form] + 1) & MASK
        self.sizes[region - 1][form] = (self.sizes[region - 1][form] + size) & MASK
        return b""

    @staticmethod
    def add_visibility(region):
        """Counts nothing. Returns the printed text."""
        if region > REGIONS:
            return b"AddRegionVis: regionId out of range: " + bytes([region]) + b"\n"
        return b""

    def report(self):
        """Returns the whole table."""
        whole = sum(sum(sizes[:3]) for sizes in self.sizes) & MASK
        rows = [self._row(region, whole) for region in range(REGIONS)]
        return HEADER + "".join(rows).encode() + b"\n\n"

    def _row(self, region, whole):
        messages = self.messages[region][:3]
        sizes = self.sizes[region][:3]
        size = sum(sizes) & MASK
        return "  %2d   F   %6d + %6d + %6d = %6d   %8d + %8d + %8d = %8d    %5s %%\n" % (
            region + 1,
            *messages,
            sum(messages) & MASK,
            *sizes,
            size,
            share(size, whole),
        )
