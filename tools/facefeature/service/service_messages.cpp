#include "service/service_messages.h"

#include <nlohmann/json.hpp>

#include "base/little_endian.h"

namespace facefeature_tools {
namespace {

using nlohmann::ordered_json;

constexpr size_t kFeatureBytes = sizeof(FeatureVector);
constexpr size_t kMaxIdBytes = 128;

const struct {
  const char* name;
  ServiceRequestKind kind;
} kRequests[] = {
    {"extract", ServiceRequestKind::kExtract},
    {"compare", ServiceRequestKind::kCompare},
    {"info", ServiceRequestKind::kInfo},
    {"health", ServiceRequestKind::kHealth},
};

ServiceRequestKind kindNamed(const std::string& name) {
  for (const auto& request : kRequests) {
    if (name == request.name) return request.kind;
  }
  throw ServiceError("bad-request", "\"request\" is not extract, compare, info or health");
}

std::string idOf(const ordered_json& header) {
  const auto id = header.find("id");
  if (id == header.end()) return "null";
  if (!id->is_string() && !id->is_number()) {
    throw ServiceError("bad-request", "\"id\" is not a text or a number");
  }
  const std::string text = id->dump();
  if (text.size() > kMaxIdBytes) throw ServiceError("bad-request", "\"id\" is too long");
  return text;
}

// Texts may quote bytes of a request that are not UTF-8.
std::string headerText(const ordered_json& header) {
  return header.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

ordered_json replyTo(const std::string& id, bool ok) {
  ordered_json reply = {{"ok", ok}};
  if (id != "null") reply["id"] = ordered_json::parse(id);
  return reply;
}

std::string floatBytes(const float* values, size_t count) {
  std::string bytes(4 * count, '\0');
  for (size_t i = 0; i < count; ++i) {
    putFloat(values[i], reinterpret_cast<uint8_t*>(bytes.data()) + 4 * i);
  }
  return bytes;
}

}  // namespace

void parseServiceRequest(const std::string& header, ServiceRequest& request) {
  const ordered_json parsed = ordered_json::parse(header, nullptr, false);
  if (!parsed.is_object()) throw ServiceError("bad-request", "the header is not a JSON object");
  request.id = idOf(parsed);
  const auto name = parsed.find("request");
  if (name == parsed.end() || !name->is_string()) {
    throw ServiceError("bad-request", "the header has no text \"request\"");
  }
  request.kind = kindNamed(name->get<std::string>());
}

ServiceFrame infoReply(const std::string& id, const ServiceInfo& info) {
  ordered_json reply = replyTo(id, true);
  reply["version"] = info.version;
  reply["model"] = info.model;
  reply["feature_floats"] = static_cast<int>(kFeatureFloats);
  reply["workers"] = info.workers;
  reply["sandbox"] = info.sandbox;
  reply["limits"] = {{"header_bytes", info.maxHeaderBytes},
                     {"photo_bytes", info.maxPhotoBytes},
                     {"connections", info.maxConnections},
                     {"extractions_per_second", info.extractionsPerSecond},
                     {"extraction_seconds", info.extractionSeconds},
                     {"transfer_seconds", info.transferSeconds}};
  return {headerText(reply), ""};
}

ServiceFrame healthReply(const std::string& id, const ServiceHealth& health) {
  ordered_json reply = replyTo(id, true);
  reply["ready"] = health.ready;
  reply["running"] = health.running;
  reply["waiting"] = health.waiting;
  reply["connections"] = health.connections;
  reply["answered"] = health.answered;
  reply["lost_workers"] = health.lostWorkers;
  return {headerText(reply), ""};
}

ServiceFrame featureReply(const std::string& id, const FeatureVector& feature,
                          const std::vector<std::string>& warnings) {
  ordered_json reply = replyTo(id, true);
  reply["warnings"] = warnings;
  return {headerText(reply), floatBytes(feature.values, kFeatureFloats)};
}

ServiceFrame scoresReply(const std::string& id, const std::vector<float>& scores) {
  ordered_json reply = replyTo(id, true);
  // A score that is not a finite number is null here. The body has all of them as floats.
  if (scores.size() == 1) reply["score"] = scores.front();
  return {headerText(reply), floatBytes(scores.data(), scores.size())};
}

ServiceFrame errorReply(const std::string& id, const char* code, const std::string& text) {
  ordered_json reply = replyTo(id, false);
  reply["error"] = code;
  reply["message"] = text;
  return {headerText(reply), ""};
}

std::vector<FeatureVector> featuresOf(const std::string& body) {
  const size_t count = body.size() / kFeatureBytes;
  if (count < 2 || body.size() % kFeatureBytes != 0) {
    throw ServiceError("bad-request", "the body is not two or more features of " +
                                          std::to_string(kFeatureBytes) + " bytes");
  }
  std::vector<FeatureVector> features(count);
  for (size_t i = 0; i < count; ++i) {
    for (size_t k = 0; k < kFeatureFloats; ++k) {
      features[i].values[k] =
          getFloat(reinterpret_cast<const uint8_t*>(body.data()) + i * kFeatureBytes + 4 * k);
    }
  }
  return features;
}

}  // namespace facefeature_tools
