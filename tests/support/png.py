"""Decodes the PNG pictures that the examples make."""
import struct
import zlib


def decode(document):
    """The width, the height and a function from (x, y) to (red, green, blue)."""
    assert document[:8] == b"\x89PNG\r\n\x1a\n", document[:8]
    chunks, at = {}, 8
    while at < len(document):
        size, name = struct.unpack_from(">I4s", document, at)
        data = document[at + 8:at + 8 + size]
        (checksum,) = struct.unpack_from(">I", document, at + 8 + size)
        assert checksum == zlib.crc32(name + data), name
        chunks[name] = data
        at += 12 + size
    assert list(chunks) == [b"IHDR", b"IDAT", b"IEND"], list(chunks)
    width, height, *form = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
    assert form == [8, 2, 0, 0, 0], form
    raw, row = zlib.decompress(chunks[b"IDAT"]), 1 + 3 * width
    assert len(raw) == height * row, len(raw)
    assert not any(raw[::row]), "unknown filter"
    return width, height, lambda x, y: tuple(raw[y * row + 1 + 3 * x:][:3])
