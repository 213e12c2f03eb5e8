"""Where a road can be killed, taken from one undisturbed run under strace: before each of its system calls. strace kills
at the Nth call of one name, so a point is a name and a number."""
import re

# Calls whose number does not depend on timing. Together they lie densely over the whole road: every write of the
# catalog, every start of a command, every freeze, thaw and step of the volume layer.
_STEADY = ("pwrite64", "fdatasync", "ioctl", "clone", "clone3", "pidfd_open", "mkdir", "unlink", "syncfs", "ftruncate",
           "fchown", "fchmod", "fsetxattr", "mlock", "pipe2", "mount_setattr", "exit_group")


class Point:
    def __init__(self, call, number, place, text):
        self.call, self.number, self.place, self.text = call, number, place, text

    def __str__(self):
        return f"{self.call} {self.number} ({self.place})"


def _name(text):
    return text.partition("(")[0]


def _first(calls, pattern, start=0):
    for index in range(start, len(calls)):
        if re.match(pattern, calls[index]):
            return index
    raise AssertionError(f"the road has no call like {pattern}")


def _last(calls, pattern):
    return len(calls) - 1 - _first(calls[::-1], pattern)


def points(calls, freezes_by_command):
    """All points from the first write of the catalog to the end, each with its place on the road."""
    begin = _first(calls, r"pwrite64\(.*\.db")
    sync = _first(calls, r"syncfs\(")
    freeze = _first(calls, r"clone3\(" if freezes_by_command else r"ioctl\(.*FIFREEZE", sync)
    proof = _first(calls, r"ioctl\(.*FIFREEZE\) += -1 EBUSY", freeze)
    thaw = _last(calls, r"ioctl\(.*FIFREEZE\) += -1 EBUSY")
    thawed = _last(calls, r"ioctl\(.*FITHAW")
    written = _first(calls, r"fdatasync\(", thawed)
    ends = ((sync, "before the announcement"), (freeze, "announced"), (proof, "freezing"), (thaw, "frozen"),
            (thawed, "thawing"), (written, "thawed"), (len(calls), "after the window"))
    seen, found = {}, []
    for index, text in enumerate(calls):
        name = _name(text)
        seen[name] = seen.get(name, 0) + 1
        if index >= begin and name in _STEADY:
            place = next(place for end, place in ends if index <= end)
            found.append(Point(name, seen[name], place, text))
    return found


def spread(found, count):
    """`count` of them, evenly; over and over again where that is more than there are."""
    if count >= len(found):
        return [found[index % len(found)] for index in range(count)]
    return [found[index * len(found) // count] for index in range(count)]


def rounds(found, count):
    """Every other round in the window, which has few of the points."""
    window = [point for point in found if point.place in ("announced", "freezing", "frozen", "thawing", "thawed")]
    anywhere = spread(found, (count + 1) // 2)
    inside = spread(window, count // 2)
    return [point for pair in zip(anywhere, inside + anywhere[len(inside):]) for point in pair][:count]


def of_verb(calls):
    """The points of a verb without a window, from its first write of the catalog to its end."""
    begin = _first(calls, r"pwrite64\(.*\.db")
    seen, found = {}, []
    for index, text in enumerate(calls):
        name = _name(text)
        seen[name] = seen.get(name, 0) + 1
        if index >= begin and name in _STEADY:
            found.append(Point(name, seen[name], "step", text))
    return found
