#include "net_shapes.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace facefeature_bench {
namespace {

[[noreturn]] void giveUp(const std::string& path, const std::string& why) {
  std::fprintf(stderr, "facefeature_bench: %s: %s\n", path.c_str(), why.c_str());
  std::exit(2);
}

// Adds the layer that the line describes. Returns false if it describes none.
bool addLayer(const std::string& line, NetShapes& shapes) {
  std::istringstream fields(line);
  std::string kind;
  fields >> kind;
  if (kind == "conv") {
    ConvShape c;
    fields >> c.name >> c.nets >> c.channels >> c.imgSize >> c.filterSize >> c.filters;
    shapes.convs.push_back(c);
  } else if (kind == "pool") {
    PoolShape p;
    fields >> p.name >> p.nets >> p.channels >> p.imgSize >> p.outputsX;
    shapes.pools.push_back(p);
  } else if (kind == "fc") {
    FcShape f;
    fields >> f.name >> f.nets >> f.inputs >> f.outputs;
    shapes.fcs.push_back(f);
  } else {
    return false;
  }
  return !fields.fail();
}

NetShapes readShapes(const std::string& name) {
  const std::string path = std::string(FACEFEATURE_BENCH_SHAPES) + "/" + name + ".txt";
  std::ifstream file(path);
  if (!file) giveUp(path, "can't be read");
  NetShapes shapes;
  shapes.name = name;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (!addLayer(line, shapes)) giveUp(path, "no layer in the line '" + line + "'");
  }
  return shapes;
}

}  // namespace

const std::vector<NetShapes>& netShapes() {
  static const std::vector<NetShapes> shapes = {readShapes("net55"), readShapes("net47")};
  return shapes;
}

}  // namespace facefeature_bench
