#!/usr/bin/env python3
"""Runs the independent mesh reader, nifcheck.py, on Morrowind meshes.
Usage: nifcheck_morrowind.py VALIDATORS-FOLDER MESH.nif...

The NifTools format description declares "Num UV Sets" of NiGeometryData
twice: a byte from version 10.0.1.0 on, a 16-bit number up to 4.2.2.0, as
the game and its open engine read it. pyffi keeps only the first declaration
of a name ("duplicates must have the same type", struct_.py), so it reads one
byte there and every Morrowind mesh with geometry, the game's own included,
comes out one byte short. Only that declaration is set right here, for the
old versions these meshes have; everything else is nifcheck.py as it is.
"""
import os, runpy, sys

validators = sys.argv[1]
sys.path.insert(0, os.path.join(validators, "pyffi"))
from pyffi.formats.nif import NifFormat
from pyffi.object_models.common import UShort

for attr in NifFormat.NiGeometryData._attribute_list:
    if attr.name == "num_uv_sets":
        attr.type_ = UShort
script = os.path.join(validators, "nifcheck.py")
sys.argv = [script] + sys.argv[2:]
runpy.run_path(script, run_name="__main__")
