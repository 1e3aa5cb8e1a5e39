"""Commands of the documents that this folder does not run itself.

RUN: the file of the repository that runs the command, in the suite or in .ci/run, and words of it
that are there for it. BY_HAND: what takes too long for every run, and what stands in for it.
BLOCKS: blocks that are no commands, by their first lines, and which test does what they show.
"""

RUN = {
    "./demo": (".ci/run", "\n./demo\n"),
    "./demo MY.jpg MY.json OTHER.jpg OTHER.json": (".ci/run", '\n./demo "${photographs[0]}"'),
    "./test": (".ci/run", " ./test\n"),
    "./test -L valgrind": ("tests/memcheck/CMakeLists.txt", "LABELS valgrind"),
    "FACEFEATURE_PRESET=tsan ./test": (".ci/run", "FACEFEATURE_PRESET=tsan"),
    "FACEFEATURE_PRESET=asan-ubsan ./test": (".ci/run", "FACEFEATURE_PRESET=asan-ubsan"),
    "FACEFEATURE_TEST_SEED=... ctest --preset dev -R Name": ("test", 'ctest --preset "$preset"'),
    "cmake --preset dev && cmake --build --preset dev && ctest --preset dev": (
        "test", 'cmake --build --preset "$preset"'),
    "cmake --preset release && cmake --build --preset release": (
        "demo", "cmake --preset release && cmake --build --preset release"),
    "cmake --install build/release --prefix PREFIX": (
        "tests/packages/installed-tree", "cmake --install"),
    "cc host.c $(pkg-config --cflags --libs facefeature)": (
        "tests/packages/use-tree", "pkg-config --cflags --libs facefeature"),
    "build/dev/cores_test": ("tests/cores/CMakeLists.txt", "gtest_discover_tests(cores_test"),
    "cmake --preset windows": ("tools/windows-suite", "\ncmake --preset windows"),
    "cmake --build --preset windows": ("tools/windows-suite", "\ncmake --build --preset windows"),
    "cmake --build --preset windows --target package": (
        "tools/windows-suite", "\ncmake --build --preset windows --target package"),
    "examples/batch/gnu_parallel.sh LIST MODEL OUT PARTS": (
        "tests/tools/verbs/batch_examples_test.cpp", "gnu_parallel.sh"),
    "mpirun -n 8 examples/batch/mpi_rank.sh LIST MODEL OUT": (
        "tests/tools/verbs/batch_examples_test.cpp", "mpi_rank.sh"),
    "sbatch examples/batch/slurm_array.sh LIST MODEL OUT": (
        "tests/tools/verbs/batch_examples_test.cpp", "slurm_array.sh"),
    "python3 examples/python/first_hour.py MODEL scores.png A.jpg A.json B.jpg B.json": (
        "tests/python/test_example.py", "examples/python/first_hour.py"),
    "tests/packages/clean-folder-install": (
        ".ci/run", "\n  tests/packages/clean-folder-install\n"),
    "tests/packages/clean-folder-install --install": (
        ".ci/run", "tests/packages/clean-folder-install --install"),
    "tests/packages/interface LIBRARY": ("tests/packages/CMakeLists.txt", "/interface"),
    "tests/packages/interface build/dev/libfacefeature.so.1 --update": (
        "tests/packages/CMakeLists.txt", "/interface"),
    "tools/get-windows-packages": ("tools/windows-suite", "\ntools/get-windows-packages"),
    "tools/install-packages landmarks": (".ci/run", "tools/install-packages landmarks"),
    "tools/install-packages test": ("test", "tools/install-packages test"),
    "tools/packages": ("tests/packages/clean-folder-install", "tools/packages"),
    "tools/packages FOLDER": ("tests/packages/clean-folder-install", "tools/packages"),
    "tools/pictures": (".ci/run", "\ntools/pictures\n"),
    "tools/windows/compare-bits": ("tools/windows-suite", "\ntools/windows/compare-bits\n"),
    "tools/windows-suite": (".ci/run", " tools/windows-suite\n"),
}

BY_HAND = {
    "bench/run": "minutes on a machine that does nothing else",
    "bench/peers/run": "the same, and an optional package",
    "build/dev/soak build/dev/libfacefeature.so": "half an hour; tests/soak does a thousand",
    "build/fuzz/fuzz_config_texts -max_total_time=900 new-inputs fuzz/corpus/config_texts":
        "15 minutes; the suite replays the corpora",
    "cmake --build build/fuzz --target fuzzers": "wants clang; the suite builds the same files",
    "cmake -S . -B build/fuzz -DFACEFEATURE_FUZZ=ON -DCMAKE_C_COMPILER=clang "
    "-DCMAKE_CXX_COMPILER=clang++": "wants clang; the suite builds the same files",
    "tests/mutations/run": "builds the library anew for each of its changes",
    "cmake -G Ninja -B build": "on Windows, which is not at hand",
    "tools/coverage": "the suite once more, built for counting",
}

BLOCKS = {
    "#include <facefeature/facefeature.h>": "tests/host/ordinal_host.c binds in this way",
    '/* A whole host. On standard input, for each of two faces: 29 lines "id x y", and then the '
    "bytes of": "compared with the file and run by test_commands.py",
    "find_package(facefeature 1.0 REQUIRED)": "tests/packages/consumer is built in this way",
    "import facefeature": "run by test_commands.py",
    "(2 (a . b) - (a[500] + b[500])) / (a[501] b[501]) + 1": "a formula",
}
