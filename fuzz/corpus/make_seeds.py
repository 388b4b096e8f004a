#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets (run from the repository)."""
import os
import struct

here = os.path.dirname(os.path.abspath(__file__))


def frame(packet):
    return struct.pack('<I', len(packet)) + bytes(packet)


def counted(text):
    data = text.encode('utf-16-le') + b'\0\0'
    return struct.pack('<I', len(data)) + data


def contact(fields):
    out = struct.pack('<I', len(fields))
    for fid, value in fields:
        out += struct.pack('<I', fid)
        out += value if isinstance(value, bytes) else counted(value)
    return out


def time(y, m, d):
    return struct.pack('<8H', y, m, 0, d, 10, 20, 30, 0)


john = contact([(31, 'John'), (33, 'Smith'), (2, time(1970, 5, 17)),
                (6, 'john@example.org'), (50, 'notes')])
def pwi_record(rtype, rid, payload):
    payload += b'\0' * (-len(payload) % 4)
    return struct.pack('<HHH', rtype, rid, len(payload) // 4) + payload


def pwi_paragraph(rid, coded):
    return pwi_record(0x41, rid, bytes(24) + coded + b'\0')


PWI_HEADER = b'{\\pwi\x15\0\0\x01\x01\x06\0\0\0'
PWI_END = struct.pack('<HHHH', 0x82, 9, 3, 0x82) + bytes(10)
pwi_text = (PWI_HEADER + pwi_paragraph(0x23, b'\xe5\x02\0Hello\xc4\x00') +
            pwi_paragraph(0x25, b'caf\xc1\xe9\xc4\x04\xb1\x0e\xc4\x00') +
            PWI_END)
pwi_ink = (PWI_HEADER + pwi_record(0x99, 0x30, bytes(12)) +
           struct.pack('<HHH', 0x55, 0, 5) + b'RIFF!' +
           pwi_paragraph(0x23, b'I\x99\x80m\xc4\x00') + PWI_END)
pwi_list = (PWI_HEADER +
            pwi_record(0x40, 8, struct.pack('<6I', 2, 2, 8, 2, 0, 0) +
                       struct.pack('<4H', 1, 4, 0x25, 0) +
                       struct.pack('<4H', 1, 4, 0x23, 0)) +
            pwi_paragraph(0x23, b'one\xc4\x00') +
            pwi_paragraph(0x25, b'two\xc4\x00') + PWI_END)

seeds = {
    'session_fuzzer': {
        'end': frame([1, 1]),
        'count': frame([6, 1]) + frame([1, 1]),
        'add_get': frame(bytes([2, 1]) + struct.pack('<I', 1) + john) +
        frame(bytes([13, 1])) + frame([1, 1]),
        'machine': frame([14, 1]) + frame([20, 4]) + frame([1, 4]),
        'file': frame(bytes([18, 1]) + counted('\\f.txt') +
                      struct.pack('<II', 0, 3) + b'abc') +
        frame(bytes([19, 1]) + counted('\\f.txt') +
              struct.pack('<III', 0, 0, 10)) + frame([1, 1]),
        'contract': frame(bytes([8, 1]) + counted('desk')) +
        frame(bytes([11, 1]) + counted('desk')) +
        frame(bytes([12, 1]) + counted('desk')) + frame([1, 1]),
    },
    'contact_record_fuzzer': {
        'john': john,
        'unknown_id': contact([(99, 'x'), (31, 'A')]),
        'empty': struct.pack('<I', 0),
    },
    'note_file_fuzzer': {
        'text': pwi_text,
        'ink_and_sound': pwi_ink,
        'paragraph_list': pwi_list,
        'header_only': PWI_HEADER,
    },
}
for target, files in seeds.items():
    os.makedirs(os.path.join(here, target), exist_ok=True)
    for name, data in files.items():
        with open(os.path.join(here, target, name), 'wb') as f:
            f.write(data)
