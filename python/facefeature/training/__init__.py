"""The training kit: from photographs and the names of people to a folder of 303 model files.

    python3 -m facefeature.training --help

Each command reads files and writes files, so that every step can be repeated alone. PyTorch is
needed by the commands that run nets, and Pillow by those that read photographs; modules import them,
this package does not.
"""
