#!/usr/bin/env python3
"""Checks a generated notification mail with Python's own MIME parser.

usage: check_mime.py MAIL [--parts TYPE,TYPE] [--subject TEXT] [--open-end]
                          [--contains TEXT]... [--inner-subject TEXT]
       check_mime.py --batch FILE   (one such argument list per line, quoted
                                     as in a shell)

The mail must be multipart/mixed with exactly the given part types and no
parser defects; --open-end expects the one defect of a mail that ends after
its last part without a closing boundary. The first part must decode strictly
in its declared charset and contain every --contains text. --subject compares
the decoded Subject header (encoded words included); --inner-subject the
Subject of an attached message/rfc822 part. Texts are given in UTF-8.
Prints what is wrong and exits 1, or exits 0.
"""
import argparse
import email
import email.header
import email.policy
import shlex
import sys


def defects_of(message):
    found = []
    for part in message.walk():
        found.extend(type(d).__name__ for d in part.defects)
    return found


def check(args):
    with open(args.mail, "rb") as f:
        message = email.message_from_bytes(f.read(), policy=email.policy.compat32)
    errors = []
    if message.get_content_type() != "multipart/mixed":
        errors.append("content type %s" % message.get_content_type())
    if not message.get_boundary():
        errors.append("no boundary")
    expected_defects = ["CloseBoundaryNotFoundDefect"] if args.open_end else []
    if defects_of(message) != expected_defects:
        errors.append("defects %s, expected %s" % (defects_of(message), expected_defects))
    parts = message.get_payload() if message.is_multipart() else []
    types = [p.get_content_type() for p in parts]
    if args.parts is not None and types != args.parts.split(","):
        errors.append("parts %s, expected %s" % (types, args.parts))
    if args.subject is not None:
        subject = str(email.header.make_header(email.header.decode_header(message["Subject"])))
        if subject != args.subject:
            errors.append("subject %r, expected %r" % (subject, args.subject))
    if parts:
        text_part = parts[0]
        charset = text_part.get_content_charset() or "us-ascii"
        try:
            text = text_part.get_payload(decode=True).decode(charset)
        except (LookupError, UnicodeDecodeError) as error:
            errors.append("text part does not decode as %s: %s" % (charset, error))
            text = ""
        for wanted in args.contains:
            if wanted not in text:
                errors.append("text part lacks %r: %r" % (wanted, text))
    for part in parts[1:]:
        name = part.get_param("name")
        if part.get_content_type() == "message/rfc822":
            if name != "Message":
                errors.append("message part named %r" % name)
            if args.inner_subject is not None:
                inner = part.get_payload()[0]["Subject"]
                if inner != args.inner_subject:
                    errors.append("inner subject %r, expected %r" % (inner, args.inner_subject))
    return errors


def main():
    if len(sys.argv) == 3 and sys.argv[1] == "--batch":
        with open(sys.argv[2], encoding="utf-8") as f:
            lists = [shlex.split(line) for line in f if line.strip()]
    else:
        lists = [sys.argv[1:]]
    failed = False
    for arguments in lists:
        errors = check(make_parser().parse_args(arguments))
        for error in errors:
            print("%s: %s" % (arguments[0], error))
        failed = failed or bool(errors)
    return 1 if failed else 0


def make_parser():
    parser = argparse.ArgumentParser()
    parser.add_argument("mail")
    parser.add_argument("--parts")
    parser.add_argument("--subject")
    parser.add_argument("--open-end", action="store_true")
    parser.add_argument("--contains", action="append", default=[])
    parser.add_argument("--inner-subject")
    return parser


if __name__ == "__main__":
    sys.exit(main())
