"""Damaged copies of a stream: each kind of damage, and what of the stream a copy still holds."""
from bisect import bisect_right
from dataclasses import dataclass

from media import PACK, PACKET, SEQUENCE_HEADER, VIDEO, find_all

MOST_BYTES = 400
MOST_PACKETS = 40
MOST_HEADER = 9 + 255  # of a PES packet


@dataclass(frozen=True)
class Edit:
    """These bytes of the original are replaced."""
    begin: int
    end: int
    fresh: bytes = b''


class Copy:
    """What comes out of editing a stream."""

    def __init__(self, media, edits):
        self.media = media
        pieces = []
        self._copied = []  # begin and end in the original, begin in the copy
        at = size = 0
        for edit in [*sorted(edits, key=lambda edit: edit.begin), Edit(len(media.data), len(media.data))]:
            if edit.begin < at:
                continue  # covered by the one before
            kept = media.data[at:edit.begin]
            self._copied.append((at, edit.begin, size))
            pieces += [kept, edit.fresh]
            size += len(kept) + len(edit.fresh)
            at = edit.end
        self.data = b''.join(pieces)
        self._packets = {packet.begin: packet for packet in media.walk(self.data)}

    def place_of(self, extent):
        """Where the bytes of a picture are now; None if any was changed, or if a reader that goes from packet to
        packet is led past one of its packets."""
        begin, end, place = self._copied[bisect_right(self._copied, extent.begin, key=lambda piece: piece[0]) - 1]
        if not begin <= extent.begin <= extent.end <= end:
            return None
        moved = place - begin
        if extent.is_last and extent.end + moved != len(self.data):
            return None
        if any(start + moved not in self._packets for start in self.media.starts_in(extent.begin, extent.end)):
            return None
        return extent.begin + moved

    def has_more_headers(self):
        """Whether there are more sequence headers than before; those across packets do not count."""
        return self.data.count(SEQUENCE_HEADER) > self.media.data.count(SEQUENCE_HEADER)

    def is_swallowed(self, place):
        """Whether video bytes before the picture at this place read as a PES header that reaches into it."""
        packets = [packet for packet in self._packets.values() if packet.payload is not None]
        before = b''.join(self.data[packet.payload:packet.end] for packet in packets if packet.begin < place)
        before = before[-MOST_HEADER:] if packets else self.data[max(place - MOST_HEADER, 0):place]
        here = self._packets.get(place)
        both = before + (self.data[here.payload:here.end] if here else self.data[place:place + 4])
        picture = both.find(b'\0\0\1\0', max(len(before) - 3, 0))
        return any(both[at + 3:at + 4] in (b'\xc0', b'\xe0') and at < picture < at + 9 + both[at + 8]
                   for at in find_all(before, b'\0\0\1') if at + 8 < len(both))


# ---- Kinds for streams of every kind ----------------------------------------------------------------------------

def somewhere(random, media):
    """Mostly behind the headers at the beginning."""
    first = 0 if random.random() < 0.1 else min(2 * PACKET, len(media.data) // 4)
    return random.randrange(first, len(media.data))


def piece(random, media):
    at = somewhere(random, media)
    return at, min(at + random.randint(1, MOST_BYTES), len(media.data))


def flipped_bits(random, media):
    at = somewhere(random, media)
    places = {min(at + random.randrange(64), len(media.data) - 1) for _ in range(random.randint(1, 8))}
    return [Edit(place, place + 1, bytes((media.data[place] ^ 1 << random.randrange(8),))) for place in places]


def noise(random, media):
    begin, end = piece(random, media)
    return [Edit(begin, end, random.randbytes(end - begin))]


def zeros(random, media):
    begin, end = piece(random, media)
    return [Edit(begin, end, bytes(end - begin))]


def dropped_bytes(random, media):
    return [Edit(*piece(random, media))]


def repeated_bytes(random, media):
    begin, end = piece(random, media)
    return [Edit(end, end, media.data[begin:end])]


def inserted_bytes(random, media):
    at = somewhere(random, media)
    return [Edit(at, at, random.randbytes(random.randint(1, MOST_BYTES)))]


def changed_sizes(random, media):
    """Width, height, aspect and rate in the stream's first header, or the bits of its extension. Pictures are large or
    have one long side: of both, all frames would take minutes."""
    at = media.data.index(SEQUENCE_HEADER) + 4
    extension = media.data.find(b'\0\0\1\xb5', at) + 4
    width, height = random.choice(((1023, 1023), (16, 4095), (4095, 16)))
    size = random.randint(1, width) << 20 | random.randint(1, height) << 8 | random.randrange(256)
    edits = [Edit(at, at + 4, size.to_bytes(4, 'big'))] if random.random() < 0.8 else []
    if random.random() < 0.4:
        place = extension + random.randrange(6)
        edits.append(Edit(place, place + 1, bytes((media.data[place] ^ 1 << random.randrange(8),))))
    return edits


def cut_short(random, media):
    return [Edit(somewhere(random, media), len(media.data))]


def start_codes(random, media):
    """Start codes of any value where there is none, and other values where there is one."""
    at = media.data.find(b'\0\0\1', somewhere(random, media))
    if at < 0 or random.random() < 0.3:
        at = somewhere(random, media)
    return [Edit(at, at + 4, b'\0\0\1' + random.randbytes(1))] if at + 4 <= len(media.data) else []


# ---- Of packets -------------------------------------------------------------------------------------------------

def run_of_packets(random, media):
    first = random.randrange(2, len(media.packets))
    last = min(first + random.randint(1, MOST_PACKETS), len(media.packets)) - 1
    return media.packets[first].begin, min(media.packets[last].end, len(media.data))


def dropped_packets(random, media):
    return [Edit(*run_of_packets(random, media))]


def scattered_packets(random, media):
    """Lost one by one, as in bad reception."""
    first = random.randrange(2, len(media.packets))
    near = media.packets[first:first + 4 * MOST_PACKETS]
    return [Edit(packet.begin, packet.end) for packet in near if random.random() < 0.1]


def repeated_packets(random, media):
    begin, end = run_of_packets(random, media)
    return [Edit(end, end, media.data[begin:end])]


def reordered_packets(random, media):
    begin, end = run_of_packets(random, media)
    middle = random.choice([packet.begin for packet in media.packets if begin <= packet.begin < end])
    return [Edit(begin, end, media.data[middle:end] + media.data[begin:middle])]


def lost_sync(random, media):
    """Other sync bytes, or bytes that are missing from packets."""
    first = random.randrange(2, len(media.packets))
    edits = []
    for packet in media.packets[first:first + random.randint(1, 5)]:
        if random.random() < 0.5:
            edits.append(Edit(packet.begin, packet.begin + 1, random.randbytes(1)))
        else:
            at = random.randrange(packet.begin, packet.end)
            edits.append(Edit(at, min(at + random.randint(1, PACKET), packet.end)))
    return edits


def changed_packet_header(random, media):
    """PID, flags, adaptation field: any byte of a transport packet's header or of its adaptation field's."""
    at = random.choice(media.packets[2:]).begin + random.choice((1, 2, 3, 4, 5))
    return [Edit(at, at + 1, random.randbytes(1))]


def wrong_lengths(random, media):
    """Of PES packets and their headers, of adaptation fields, of pack stuffing."""
    packet = random.choice(media.video if random.random() < 0.7 else media.packets[1:])
    begin = packet.begin
    if media.is_program:
        code = media.data[begin + 3]
        at, size = (begin + 13, 1) if code == PACK else random.choice(((begin + 4, 2), (begin + 8, 1)))
    elif media.data[begin + 1] & 0x40 and packet.payload is not None:
        pes = media.data.index(bytes((0, 0, 1, VIDEO)), begin)
        at, size = random.choice(((pes + 4, 2), (pes + 8, 1)))
    else:
        return [Edit(begin + 3, begin + 5, bytes((media.data[begin + 3] | 0x20, random.randrange(256))))]
    # Small differences and large ones.
    value = int.from_bytes(media.data[at:at + size], 'big')
    wrong = value + random.randint(-20, 20) if random.random() < 0.5 else random.randrange(256 ** size)
    return [Edit(at, at + size, (wrong % 256 ** size).to_bytes(size, 'big'))]


def truncated_packs(random, media):
    """The ends of a few packs are missing."""
    packs = [packet.begin for packet in media.packets if media.data[packet.begin + 3] == PACK]
    first = random.randrange(len(packs))
    edits = []
    for begin, end in list(zip(packs, [*packs[1:], len(media.data)]))[first:first + random.randint(1, 3)]:
        edits.append(Edit(random.randrange(begin + 4, end), end))
    return edits


def with_splice(others):
    """Another stream of the same kind and of another size in the middle, or from there on."""
    def spliced(random, media):
        other = random.choice(others)
        at = random.choice(media.starts) if media.starts and random.random() < 0.8 else somewhere(random, media)
        return [Edit(at, at if random.random() < 0.5 else len(media.data), other)]
    return spliced


ANY = (flipped_bits, noise, zeros, dropped_bytes, repeated_bytes, inserted_bytes, changed_sizes, cut_short, start_codes)
PACKETS = (dropped_packets, scattered_packets, repeated_packets, reordered_packets, wrong_lengths)


def kinds_for(media, others):
    kinds = [*ANY, with_splice(others)]
    if media.packets:
        kinds += PACKETS
    if media.is_transport:
        kinds += (lost_sync, changed_packet_header)
    if media.is_program:
        kinds += (truncated_packs,)
    return kinds
