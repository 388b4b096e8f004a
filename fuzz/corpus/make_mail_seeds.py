#!/usr/bin/env python3
"""Writes the seeds of the mail targets (run from the repository):
mail_record_fuzzer and store_mail_record_fuzzer take a written mail record;
mail_file_fuzzer one selector byte (bit 0 the older store, bits 1-2 the
reader: 0 RFC 5322 file, 1 written record, 2 read record, 3 attachment
list, bit 3 its read form), then the input."""
import os
import struct

here = os.path.dirname(os.path.abspath(__file__))


def u32(value):
    return struct.pack('<I', value)


def counted(text):
    data = text.encode('utf-16-le') + b'\0\0'
    return u32(len(data)) + data


def time(y, mo, dow, d, h=0, mi=0, s=0):
    return struct.pack('<8H', y, mo, dow, d, h, mi, s, 0)


def string(fid, text):
    return u32(fid) + counted(text)


def written(word, props):
    body = b''.join(props)
    return u32(len(props)) + u32(len(body)) + u32(word) + body


def counted_list(pairs, sep=' '):
    """The written attachment list: COUNT, then LEN TEXT per string."""
    out = str(len(pairs)) + sep
    for first, second in pairs:
        out += str(len(first)) + sep + first + str(len(second)) + sep + second
    return out


def read_record(oid, props):
    return bytes([1, 0]) + u32(oid) + bytes([len(props)]) + b''.join(props)


UP1 = '\\up.data1'
UP2 = '\\up.data2'
WHEN = u32(6) + time(2026, 11, 1, 23, 9, 30, 15)

# The messaging store: folder word codes, device file before file name.
mapi = {
    'inbox': written(254, [string(1, 'ann@example.org'),
                           string(2, 'bob@example.org; cy@example.org'),
                           string(5, 'Minutes'), WHEN,
                           string(7, 'Hello\r\nsee you')]),
    'draft_read': written(0x400000 | 0x100000,
                          [string(2, 'bob@example.org'),
                           string(3, 'cc@example.org'),
                           string(4, 'hidden@example.org'),
                           string(5, 'R\u00e9sum\u00e9'),
                           u32(9) + time(2026, 1, 4, 1)]),
    'sent_two_attachments': written(
        252, [string(2, 'bob@example.org'), string(5, 'Files'),
              string(8, counted_list([(UP1, 'report.pdf'),
                                      (UP2, 'photo.jpg')]))]),
    'outbox_ignored_ids': written(
        253, [u32(11), u32(14), u32(10) + u32(99),
              string(13, '<id@example.org>'), string(5, 'odd ids')]),
    'missing_file': written(254, [string(8, counted_list(
        [('\\nowhere', 'gone.txt')]))]),
    'empty': written(0, []),
}

# The older store: folder in the low byte, read mark 0x10000, file name
# before device file.
store = {
    'inbox': written(0xFE, [string(1, 'ann@example.org'),
                            string(2, 'bob@example.org'),
                            string(5, 'Minutes'), WHEN,
                            string(7, 'Hello\r\nsee you'),
                            string(13, '<m1@example.org>')]),
    'sent_read': written(0xFC | 0x10000,
                         [string(3, 'cc@example.org'),
                          string(4, 'bcc@example.org'),
                          u32(10) + u32(3), u32(9) + time(2026, 2, 0, 1)]),
    'two_attachments': written(
        0xFB, [string(5, 'Files'),
               string(8, counted_list([('report.pdf', UP1),
                                       ('photo.jpg', UP2)], ';'))]),
    'unknown_ids': written(0xFD, [u32(11), u32(12), u32(40),
                                  string(5, 'after')]),
    'empty': written(0, []),
}

EML = (b'From: Ann <ann@example.org>\n'
       b'To: bob@example.org, cy@example.org\n'
       b'Cc: cc@example.org\n'
       b'Subject: =?UTF-8?Q?R=C3=A9sum=C3=A9?=\n'
       b'Date: Mon, 23 Nov 2026 09:30:15 +0000\n'
       b'Message-ID: <m1@example.org>\n'
       b'MIME-Version: 1.0\n'
       b'Content-Type: multipart/mixed; boundary="b1"\n\n'
       b'--b1\n'
       b'Content-Type: text/plain; charset=utf-8\n\n'
       b'Hello\nsee you\n\n'
       b'--b1\n'
       b'Content-Type: application/octet-stream; name="report.pdf"\n'
       b'Content-Disposition: attachment; filename="report.pdf"\n'
       b'Content-Transfer-Encoding: base64\n\n'
       b'JVBERi0xLjQK\n'
       b'--b1--\n')
PLAIN = (b'From: ann@example.org\nTo: bob@example.org\nSubject: Hi\n'
         b'Date: Tue, 1 Sep 2026 08:00:00 -0400\n\nJust text.\n')

files = {
    'eml_multipart': bytes([0]) + EML,
    'eml_plain_store': bytes([1]) + PLAIN,
    'written_mapi': bytes([2]) + mapi['sent_two_attachments'],
    'written_store': bytes([3]) + store['inbox'],
    'read_mapi': bytes([4]) + read_record(0x1234, [
        WHEN, string(5, 'Minutes'), u32(11) + u32(254 | 0x100000),
        string(1, 'ann@example.org'), u32(14) + u32(0),
        string(7, 'Hello'), string(2, 'bob@example.org;cy@example.org'),
        string(8, '\\VRN0001.tmp\nreport.pdf\n')]),
    'read_store': bytes([5]) + read_record(77, [
        u32(14) + u32(0), string(1, 'ann@example.org'),
        string(5, 'Minutes'), string(13, '<m1@example.org>'),
        string(7, 'Hello'), WHEN, u32(10) + u32(0), u32(11) + u32(0xFE),
        string(8, 'report.pdf\n\\up.data1\n')]),
    'list_written_mapi': bytes([6]) + counted_list(
        [(UP1, 'report.pdf')]).encode('utf-16-le'),
    'list_read_store': bytes([15]) + 'a.txt\n\\a.tmp\n'.encode('utf-16-le'),
}

for target, seeds in (('mail_record_fuzzer', mapi),
                      ('store_mail_record_fuzzer', store),
                      ('mail_file_fuzzer', files)):
    directory = os.path.join(here, target)
    os.makedirs(directory, exist_ok=True)
    for name, data in seeds.items():
        with open(os.path.join(directory, name), 'wb') as f:
            f.write(data)
