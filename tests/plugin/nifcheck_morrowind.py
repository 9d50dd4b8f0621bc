#!/usr/bin/env python3
"""nifcheck_morrowind.py VALIDATORS-FOLDER MESH.nif...: nifcheck.py, with the
one fix these meshes need. The NifTools description declares NiGeometryData's
"Num UV Sets" twice: a byte from 10.0.1.0 on, then, as the game reads it, a
16-bit number up to 4.2.2.0. pyffi keeps the first, so every old mesh with
geometry, the game's own too, reads one byte short."""
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
