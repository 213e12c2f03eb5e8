"""The proof that a snapshot was cut at one instant, from what record_writer wrote and logged."""
import re

RECORD_LENGTH = 128
_HEAD = re.compile(rb"record (\d{12}) ")
_MULTIPLIER, _INCREMENT, _MASK = 6364136223846793005, 1442695040888963407, (1 << 64) - 1


def record(number):
    """The bytes of one record, as the writer makes them."""
    state = (number * _MULTIPLIER + _INCREMENT) & _MASK
    text = bytearray(b"record %012d " % number)
    while len(text) + 1 < RECORD_LENGTH:
        state = (state * _MULTIPLIER + _INCREMENT) & _MASK
        text.append(ord("a") + (state >> 33) % 26)
    return bytes(text + b"\n")


def read_log(path):
    """Two dictionaries, number to nanoseconds: when each record was begun and when it was acknowledged."""
    begun, acknowledged = {}, {}
    with open(path, encoding="ascii") as log:
        for line in log:
            if line.endswith("\n"):  # the writer may be in the middle of the last one
                event, number, at = line.split()
                {"begun": begun, "acknowledged": acknowledged}[event][int(number)] = int(at)
    return begun, acknowledged


def numbers_in(path):
    """How many records a copy holds. Raises ValueError unless they are 1, 2, 3 … , each of them whole and unharmed."""
    with open(path, "rb") as file:
        data = file.read()
    if len(data) % RECORD_LENGTH:
        raise ValueError(f"{path} ends in the middle of a record: {len(data)} bytes")
    count = len(data) // RECORD_LENGTH
    for number in range(1, count + 1):
        found = data[(number - 1) * RECORD_LENGTH : number * RECORD_LENGTH]
        if found != record(number):
            raise ValueError(f"{path}: record {number} is harmed: {found!r}")
    return count


class Proof:
    """What check_records found out; `faults` is empty when the copy is what it should be."""

    def __init__(self, held, begun, acknowledged, frozen_at):
        self.held = held
        self.begun_before = sum(at <= frozen_at for at in begun.values())
        self.acknowledged_before = sum(at <= frozen_at for at in acknowledged.values())
        self.written_in_all = len(acknowledged)
        self.faults = [
            f"record {number} was acknowledged {(frozen_at - at) / 1e6:.3f} ms before the freeze and is missing"
            for number, at in acknowledged.items()
            if at <= frozen_at and number > held
        ] + [
            f"record {number} was begun {(at - frozen_at) / 1e6:.3f} ms after the freeze and is in the copy"
            for number, at in begun.items()
            if at > frozen_at and number <= held
        ]
        if held > len(begun):
            self.faults.append(f"the copy holds {held} records, only {len(begun)} were ever begun")
        if self.written_in_all <= held:
            self.faults.append("the writer acknowledged nothing after the copy: this proves nothing")
        if self.acknowledged_before == 0:
            self.faults.append("nothing was acknowledged before the freeze: this proves nothing")


def check_records(copy, log, frozen_at):
    """The file `copy` in a snapshot against the writer's log. `frozen_at`: CLOCK_MONOTONIC in nanoseconds at which the
    file system stood still. Every record acknowledged until then must be there, and none begun after it. Ask while the
    writer goes on, or after it: what it wrote later than the freeze is what makes the proof worth something."""
    try:
        held, fault = numbers_in(copy), None
    except (OSError, ValueError) as error:
        held, fault = 0, str(error)
    begun, acknowledged = read_log(log)
    proof = Proof(held, begun, acknowledged, frozen_at)
    if fault:
        proof.faults.insert(0, fault)
    return proof
