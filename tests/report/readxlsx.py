#!/usr/bin/env python3
"""Prints what a spreadsheet reader finds in an .xlsx workbook, as JSON.

    readxlsx.py FILE

Output: {"sheets": [{"name": ..., "cells": [[coordinate, type, value], ...],
"pictures": [{"col": ..., "colOff": ..., "row": ..., "rowOff": ...,
"cx": ..., "cy": ..., "pngWidth": ..., "pngHeight": ..., "png": ...}]}]}, sheets in
workbook order, cells row by row. Cells come from openpyxl. openpyxl drops
pictures when Pillow is missing, so pictures are read from the package
itself: the anchor cell and offsets (EMU) of each picture in the sheet's
drawing, its extent cx, cy (EMU, 9525 per pixel at 96 dpi) and the pixel
size in the PNG header, and the PNG itself in base64.
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
DRAWING_TYPE = R_NS + "/drawing"


def rels_of(archive, part):
    """Relationship id -> (type, absolute part name) of a package part."""
    folder, name = posixpath.split(part)
    rels_part = posixpath.join(folder, "_rels", name + ".rels")
    if rels_part not in archive.namelist():
        return {}
    result = {}
    for rel in ET.fromstring(archive.read(rels_part)).findall("rel:Relationship", NS):
        target = rel.get("Target")
        if target.startswith("/"):
            target = target[1:]
        else:
            target = posixpath.normpath(posixpath.join(folder, target))
        result[rel.get("Id")] = (rel.get("Type"), target)
    return result


def png_size(data):
    if data[:8] != b"\x89PNG\r\n\x1a\n" or data[12:16] != b"IHDR":
        return None, None
    return struct.unpack(">II", data[16:24])


def pictures_in(archive, sheet_part):
    pictures = []
    for rel_type, drawing_part in rels_of(archive, sheet_part).values():
        if rel_type != DRAWING_TYPE:
            continue
        drawing_rels = rels_of(archive, drawing_part)
        root = ET.fromstring(archive.read(drawing_part))
        for anchor in root:
            pic = anchor.find("xdr:pic", NS)
            start = anchor.find("xdr:from", NS)
            if pic is None or start is None:
                continue
            ext = pic.find("xdr:spPr/a:xfrm/a:ext", NS)
            blip = pic.find("xdr:blipFill/a:blip", NS)
            _, media = drawing_rels[blip.get("{%s}embed" % R_NS)]
            png = archive.read(media)
            width, height = png_size(png)
            pictures.append({
                "col": int(start.find("xdr:col", NS).text),
                "colOff": int(start.find("xdr:colOff", NS).text),
                "row": int(start.find("xdr:row", NS).text),
                "rowOff": int(start.find("xdr:rowOff", NS).text),
                "cx": int(ext.get("cx")),
                "cy": int(ext.get("cy")),
                "pngWidth": width,
                "pngHeight": height,
                "png": base64.b64encode(png).decode("ascii"),
            })
    return pictures


def main(path):
    book = openpyxl.load_workbook(path)
    with zipfile.ZipFile(path) as archive:
        workbook_part = "xl/workbook.xml"
        book_rels = rels_of(archive, workbook_part)
        sheet_parts = {}
        for sheet in ET.fromstring(archive.read(workbook_part)).find("main:sheets", NS):
            sheet_parts[sheet.get("name")] = book_rels[sheet.get("{%s}id" % R_NS)][1]
        sheets = []
        for worksheet in book.worksheets:
            cells = [[cell.coordinate, cell.data_type, cell.value]
                     for row in worksheet.iter_rows() for cell in row
                     if cell.value is not None]
            sheets.append({
                "name": worksheet.title,
                "cells": cells,
                "pictures": pictures_in(archive, sheet_parts[worksheet.title]),
            })
    json.dump({"sheets": sheets}, sys.stdout)
    sys.stdout.write("\n")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: readxlsx.py FILE")
    main(sys.argv[1])
