"""The report's workbook as a spreadsheet program reads it: a sound zip
container with the three sheets, and the picture stored as the same PNG as the
annotated file, not compressed a second time."""

import os
import struct
import subprocess
import zipfile

import pytest

openpyxl = pytest.importorskip("openpyxl")

PROGRAM = os.environ.get("AUTOCOUNT_PROGRAM", "")
SAMPLE = os.environ.get("AUTOCOUNT_SAMPLE", "")


def test_report_stores_the_annotated_picture(tmp_path):
    report = tmp_path / "report.xlsx"
    annotated = tmp_path / "annotated.png"
    subprocess.run([PROGRAM, "count", "-q", "--report", str(report),
                    "--annotated", str(annotated), SAMPLE], check=True)

    with zipfile.ZipFile(report) as workbook:
        assert workbook.testzip() is None
        media = [i for i in workbook.infolist() if i.filename.startswith("xl/media/")]
        assert [i.filename for i in media] == ["xl/media/image1.png"]
        assert media[0].compress_type == zipfile.ZIP_STORED
        picture = workbook.read(media[0])
        assert picture == annotated.read_bytes()
        others = [i for i in workbook.infolist() if i not in media]
        assert all(i.compress_type == zipfile.ZIP_DEFLATED for i in others)
        # The picture sits at its own size: 9525 EMU per pixel.
        width, height = struct.unpack(">II", picture[16:24])
        drawing = workbook.read("xl/drawings/drawing1.xml").decode()
        assert f'<a:ext cx="{width * 9525}" cy="{height * 9525}"/>' in drawing

    book = openpyxl.load_workbook(report)
    assert book.sheetnames == ["Automatic Counting Image", "Automatic Counting Table",
                               "Automatic Counting Statistics"]
    table = book["Automatic Counting Table"]
    assert table.max_row == 1 + 40  # the header and the sample's 40 objects
