#!/usr/bin/env python3
"""Prints what a spreadsheet reader finds in an .xlsx workbook, as JSON:
{"sheets": [{"name", "cells": [[coordinate, type, value]], "pictures": [...]}]},
sheets in workbook order, cells row by row. openpyxl drops pictures without
Pillow, so they are read from the package: anchor cell and offsets, extent
cx, cy (EMU, 9525 per pixel at 96 dpi), PNG header size and base64 data.
"""

import base64
import json
import posixpath
import struct
import sys
import xml.etree.ElementTree as ET
import zipfile

import openpyxl

NS = {
    "main": "http://schemas.openxmlformats.org/spreadsheetml/2006/main",
    "rel": "http://schemas.openxmlformats.org/package/2006/relationships",
    "xdr": "http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing",
    "a": "http://schemas.openxmlformats.org/drawingml/2006/main",
}
R_NS = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"


def rels_of(archive, part):
    """Relationship id -> (type, absolute part name) of a package part."""
    folder, name = posixpath.split(part)
    rels_part = posixpath.join(folder, "_rels", name + ".rels")
    if rels_part not in archive.namelist():
        return {}
    result = {}
    for rel in ET.fromstring(archive.read(rels_part)).findall("rel:Relationship", NS):
        target = rel.get("Target")
        target = target[1:] if target.startswith("/") else posixpath.normpath(
            posixpath.join(folder, target))
        result[rel.get("Id")] = (rel.get("Type"), target)
    return result


def pictures_in(archive, sheet_part):
    pictures = []
    for rel_type, drawing_part in rels_of(archive, sheet_part).values():
        if rel_type != R_NS + "/drawing":
            continue
        drawing_rels = rels_of(archive, drawing_part)
        for anchor in ET.fromstring(archive.read(drawing_part)):
            pic, start = anchor.find("xdr:pic", NS), anchor.find("xdr:from", NS)
            if pic is None or start is None:
                continue
            ext = pic.find("xdr:spPr/a:xfrm/a:ext", NS)
            blip = pic.find("xdr:blipFill/a:blip", NS)
            png = archive.read(drawing_rels[blip.get("{%s}embed" % R_NS)][1])
            width, height = (struct.unpack(">II", png[16:24]) if png[12:16] == b"IHDR"
                             else (None, None))
            picture = {key: int(start.find("xdr:" + key, NS).text)
                       for key in ("col", "colOff", "row", "rowOff")}
            picture.update(cx=int(ext.get("cx")), cy=int(ext.get("cy")), pngWidth=width,
                           pngHeight=height, png=base64.b64encode(png).decode("ascii"))
            pictures.append(picture)
    return pictures


def main(path):
    book = openpyxl.load_workbook(path)
    with zipfile.ZipFile(path) as archive:
        book_rels = rels_of(archive, "xl/workbook.xml")
        sheet_parts = {
            sheet.get("name"): book_rels[sheet.get("{%s}id" % R_NS)][1]
            for sheet in ET.fromstring(archive.read("xl/workbook.xml")).find("main:sheets", NS)
        }
        sheets = [{
            "name": ws.title,
            "cells": [[cell.coordinate, cell.data_type, cell.value]
                      for row in ws.iter_rows() for cell in row if cell.value is not None],
            "pictures": pictures_in(archive, sheet_parts[ws.title]),
        } for ws in book.worksheets]
    json.dump({"sheets": sheets}, sys.stdout)
    sys.stdout.write("\n")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: readxlsx.py FILE")
    main(sys.argv[1])
