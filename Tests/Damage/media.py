"""Where the pictures of a stream lie, found without the library (ISO/IEC 13818-1, 2.4 and 2.5)."""
from bisect import bisect_right
from dataclasses import dataclass

PACKET = 188
SYNC = 0x47
PACK, END, VIDEO = 0xba, 0xb9, 0xe0
SEQUENCE_HEADER = b'\0\0\1\xb3'


@dataclass(frozen=True)
class Packet:
    """A packet at its position; what it carries of the video begins at payload, if it carries any."""
    begin: int
    end: int
    payload: int | None = None


def transport_packets(data, video_pid=None):
    """Packet after packet; where there is no sync byte, on from the next one."""
    at = 0
    while at + PACKET <= len(data):
        if data[at] != SYNC:
            at = data.find(SYNC, at)
            if at < 0:
                return
            continue
        payload = at + 4 + (1 + data[at + 4] if data[at + 3] & 0x20 else 0)
        if data[at + 1] & 0x40 and data[payload:payload + 4] == bytes((0, 0, 1, VIDEO)):
            payload += 9 + data[payload + 8]
        is_video = int.from_bytes(data[at + 1:at + 3], 'big') & 0x1fff == video_pid and data[at + 3] & 0x10
        yield Packet(at, at + PACKET, payload if is_video else None)
        at += PACKET


def program_packets(data):
    """Packet after packet; where none begins, on from the next start code of one."""
    at = 0
    while at + 14 <= len(data):
        if data[at:at + 3] != b'\0\0\1' or data[at + 3] < END:
            at = data.find(b'\0\0\1', at + 1)
            if at < 0:
                return
            continue
        code = data[at + 3]
        if code == PACK:
            size = 14 + (data[at + 13] & 7)
        else:
            size = 14 if code == END else 6 + int.from_bytes(data[at + 4:at + 6], 'big')
        yield Packet(at, at + size, at + 9 + data[at + 8] if code == VIDEO else None)
        at += size


def video_pid_of(data):
    """Of the first packet in which a video PES packet begins."""
    for packet in transport_packets(data):
        header = data[packet.begin:packet.end]
        if header[1] & 0x40 and bytes((0, 0, 1, VIDEO)) in header:
            return int.from_bytes(header[1:3], 'big') & 0x1fff
    raise ValueError('no video')


@dataclass(frozen=True)
class Extent:
    """The bytes that belong to a picture: from the packet in which its start code begins to the end of the one in
    which the start code ends that closes it."""
    begin: int
    end: int
    is_last: bool


class Media:
    """A sound stream and its packets."""

    def __init__(self, data):
        self.data = data
        self.is_transport = data[0] == SYNC
        self.is_program = data[:4] == bytes((0, 0, 1, PACK))
        self.pid = video_pid_of(data) if self.is_transport else None
        self.packets = list(self.walk(data))
        self.starts = [packet.begin for packet in self.packets]
        self.video = [packet for packet in self.packets if packet.payload is not None]

    def walk(self, data):
        if self.is_transport:
            return transport_packets(data, self.pid)
        return program_packets(data) if self.is_program else iter(())

    def starts_in(self, begin, end):
        """Of the packets that begin there."""
        return self.starts[bisect_right(self.starts, begin - 1):bisect_right(self.starts, end - 1)]

    def pictures(self):
        """The extents of all pictures in the order of the stream."""
        packets = self.video or [Packet(0, len(self.data), 0)]
        video = b''.join(self.data[packet.payload:packet.end] for packet in packets)
        ends = []  # in the video, of each packet's bytes
        for packet in packets:
            ends.append((ends[-1] if ends else 0) + packet.end - packet.payload)

        def packet_at(place):
            return packets[bisect_right(ends, place)]

        codes = [at for at in find_all(video, b'\0\0\1') if video[at + 3:at + 4] in (b'\0', b'\xb7')]
        extents = []
        for code, closing in zip(codes, [*codes[1:], None]):
            if video[code + 3] != 0:
                continue
            end = len(video) - 1 if closing is None else closing + 3
            if self.video:
                begin, end = packet_at(code).begin, packet_at(end).end
            else:
                begin, end = code, end + 1
            extents.append(Extent(begin, len(self.data) if closing is None else end, closing is None))
        return extents


def header_before(data, picture):
    """The sequence header that governs a picture, with all behind it up to the next picture."""
    code = data.find(b'\0\0\1\0', picture.begin)
    begin = max(data.rfind(SEQUENCE_HEADER, 0, code), 0)
    return Extent(begin, data.find(b'\0\0\1\0', begin), False)


def find_all(data, pattern):
    at = data.find(pattern)
    while at >= 0:
        yield at
        at = data.find(pattern, at + 1)
