#!/usr/bin/env python3
# Writes the example mails of this folder (run it here). The mails are kept in
# the repository; this script documents how they were made and remakes them
# byte for byte (fixed random seeds).
import base64, struct, random, textwrap, quopri, binascii
def w(name, text):
    open(name,'wb').write(text if isinstance(text,bytes) else text.encode())
def hdr(frm,to,subj,extra=''):
    return (f"Return-Path: <{frm.split('<')[-1].strip('>')}>\r\n"
            f"Received: from mx1.partner.example (mx1.partner.example [192.0.2.10])\r\n"
            f"\tby gw.example.com (Gateway) with ESMTP id 4F2A1\r\n"
            f"\tfor <{to.split('<')[-1].strip('>')}>; Mon, 23 Nov 2026 09:12:01 +0000\r\n"
            f"From: {frm}\r\nTo: {to}\r\nSubject: {subj}\r\nDate: Mon, 23 Nov 2026 09:12:00 +0000\r\n"
            f"Message-ID: <{random.randint(10**8,10**9)}@partner.example>\r\nMIME-Version: 1.0\r\n{extra}")
def b64(data): return "\r\n".join(textwrap.wrap(base64.b64encode(data).decode(),76))
random.seed(7)
w('01-plain.eml', hdr('Alice Walker <alice@partner.example>','Bob Stone <bob@example.com>','Lunch on Thursday?')+
  "Content-Type: text/plain; charset=us-ascii\r\n\r\nHi Bob,\r\n\r\nare you free for lunch on Thursday? The usual place at noon.\r\n\r\nAlice\r\n")
exe = b"MZ" + bytes(random.getrandbits(8) for _ in range(3000))
w('02-invoice-exe.eml', hdr('Accounts <billing@partner.example>','bob@example.com','Invoice 2026-1187',
  'Content-Type: multipart/mixed; boundary="==b1=="\r\n')+"\r\nThis is a multi-part message in MIME format.\r\n\r\n--==b1==\r\nContent-Type: text/plain; charset=us-ascii\r\n\r\nPlease find the invoice attached.\r\n\r\n--==b1==\r\nContent-Type: application/octet-stream; name=\"invoice.exe\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; filename=\"invoice.exe\"\r\n\r\n"+
  b64(exe)+"\r\n--==b1==--\r\n")
w('03-spam-subject.eml', hdr('Deals <deals@bulk-offers.example>','bob@example.com','Your FREE OFFER expires today')+
  "Content-Type: text/plain\r\n\r\nClick now to claim your prize.\r\n")
w('04-confidential.eml', hdr('Carol <carol@example.com>','dave@partner.example','Status update')+
  "Content-Type: text/plain; charset=us-ascii\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"+
  quopri.encodestring(b"Dave,\r\n\r\nthe CONFIDENTIAL numbers for Project Orion are in. Revenue is up 12% against the plan we made in the spring.\r\n\r\nCarol\r\n").decode())
w('05-press-release.eml', hdr('Carol <carol@example.com>','press@partner.example','Press release draft')+
  "Content-Type: text/plain\r\n\r\nHere is the press release for project orion; nothing confidential remains in it.\r\n")
jp_subj = base64.b64encode('社外秘の資料について'.encode('iso-2022-jp')).decode()
jp_body = '田中様\r\n\r\n社外秘の資料を添付しました。取り扱いにご注意ください。\r\n\r\n山田\r\n'.encode('iso-2022-jp')
w('06-japanese.eml', (hdr('Yamada <yamada@partner.example>','tanaka@example.com',f'=?ISO-2022-JP?B?{jp_subj}?=')+
  "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\nContent-Transfer-Encoding: 7bit\r\n\r\n").encode()+jp_body)
data = b"Meeting notes: the budget review moves to Friday.\n"*4
uu = "begin 644 notes.txt\n" + "".join(binascii.b2a_uu(data[i:i+45]).decode() for i in range(0,len(data),45)) + "`\nend\n"
w('07-uuencoded.eml', hdr('Erin <erin@partner.example>','bob@example.com','Notes from today')+"Content-Type: text/plain\r\n\r\nNotes attached.\r\n\r\n"+uu)
def attr(level, aid, data):
    return struct.pack('<BII', level, aid, len(data)) + data + struct.pack('<H', sum(data) & 0xffff)
tnef = struct.pack('<IH', 0x223E9F78, 0x0101)
tnef += attr(1, 0x00089006, struct.pack('<I', 0x00010000))
tnef += attr(1, 0x00078008, b'IPM.Microsoft Mail.Note\0')
tnef += attr(2, 0x00069002, struct.pack('<HIIII', 1, 0xffffffff, 0, 0, 0)[:14])
tnef += attr(2, 0x00018010, b'report.exe\0')
tnef += attr(2, 0x0006800F, exe[:1200])
name = b'report.exe\0'
props = struct.pack('<I', 1) + struct.pack('<HH', 0x001E, 0x3707) + struct.pack('<II', 1, len(name)) + name + b'\0' * ((4 - len(name) % 4) % 4)
tnef += attr(2, 0x00069005, props)
w('08-winmail-tnef.eml', hdr('Frank <frank@partner.example>','bob@example.com','Quarterly report',
  'Content-Type: multipart/mixed; boundary="tnef-b"\r\n')+"\r\n--tnef-b\r\nContent-Type: text/plain\r\n\r\nReport attached.\r\n\r\n--tnef-b\r\nContent-Type: application/ms-tnef; name=\"winmail.dat\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; filename=\"winmail.dat\"\r\n\r\n"+
  b64(tnef)+"\r\n--tnef-b--\r\n")
words = "the quarterly figures show steady growth across all regions while costs remain within the agreed budget".split()
big = "\r\n".join(" ".join(random.choice(words) for _ in range(12)) for _ in range(42000))
w('09-large.eml', hdr('Reports <reports@partner.example>','bob@example.com','Full data export')+"Content-Type: text/plain\r\n\r\n"+big+"\r\n")
w('10-casino.eml', hdr('Lucky <win@casino.example>','bob@example.com','Welcome')+"Content-Type: text/html; charset=us-ascii\r\n\r\n<html><body><p>Claim your casino bonus of 500 credits today!</p></body></html>\r\n")
w('11-pdf-attachment.eml', hdr('Grace <grace@partner.example>','bob@example.com','Contract for review',
  'Content-Type: multipart/mixed; boundary="p-1"\r\n')+"\r\n--p-1\r\nContent-Type: multipart/alternative; boundary=\"p-2\"\r\n\r\n--p-2\r\nContent-Type: text/plain\r\n\r\nThe contract is attached.\r\n--p-2\r\nContent-Type: text/html\r\n\r\n<p>The contract is attached.</p>\r\n--p-2--\r\n\r\n--p-1\r\nContent-Type: application/pdf; name=\"contract.pdf\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment;\r\n filename=\"contract.pdf\"\r\n\r\n"+
  b64(b"%PDF-1.4\n"+bytes(random.getrandbits(8) for _ in range(2000)))+"\r\n--p-1--\r\n")
w('12-screensaver.eml', hdr('Henry <henry@partner.example>','bob@example.com','Funny screen saver',
  'Content-Type: multipart/mixed; boundary="s-1"\r\n')+"\r\n--s-1\r\nContent-Type: text/plain\r\n\r\nTry this one!\r\n--s-1\r\nContent-Type: application/octet-stream; name=\"fun_saver.scr\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; filename=\"fun_saver.scr\"\r\n\r\n"+
  b64(exe[:900])+"\r\n--s-1--\r\n")
random.seed(11)
w('13-lottery.eml', hdr('Claims Office <claims@prize-centre.example>','bob@example.com','Notice: you won the International Lottery')+
  "Content-Type: text/plain\r\n\r\nDear winner, send your bank details to receive your prize.\r\n")
