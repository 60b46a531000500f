"""Decodes PNG pictures in colour."""
import struct
import zlib


def nearest(left, above, corner):
    return min((left, above, corner), key=lambda near: abs(left + above - corner - near))


def unfilter(raw, size, pixel=3):
    """The rows of so many bytes that are filtered in the image data."""
    rows, above = [], bytes(size)
    assert len(raw) % (size + 1) == 0, len(raw)
    for at in range(0, len(raw), size + 1):
        kind, row = raw[at], bytearray(raw[at + 1:at + 1 + size])
        assert kind < 5, "unknown filter"
        for i in range(size if kind else 0):
            left, corner = (row[i - pixel], above[i - pixel]) if i >= pixel else (0, 0)
            row[i] = row[i] + (left, above[i], (left + above[i]) // 2, nearest(left, above[i], corner))[kind - 1] & 255
        rows.append(row)
        above = row
    return rows


def decode(document):
    """The width, the height and a function from (x, y) to (red, green, blue)."""
    assert document[:8] == b"\x89PNG\r\n\x1a\n", document[:8]
    chunks, at = {}, 8
    while at < len(document):
        size, name = struct.unpack_from(">I4s", document, at)
        data = document[at + 8:at + 8 + size]
        (checksum,) = struct.unpack_from(">I", document, at + 8 + size)
        assert checksum == zlib.crc32(name + data), name
        chunks[name] = chunks.get(name, b"") + data
        at += 12 + size
    assert list(chunks) == [b"IHDR", b"IDAT", b"IEND"], list(chunks)
    width, height, *form = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
    assert form == [8, 2, 0, 0, 0], form
    rows = unfilter(zlib.decompress(chunks[b"IDAT"]), 3 * width)
    assert len(rows) == height, len(rows)
    return width, height, lambda x, y: tuple(rows[y][3 * x:][:3])
