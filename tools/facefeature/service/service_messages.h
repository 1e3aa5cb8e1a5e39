// The requests and replies of the service as JSON headers (docs/hosts.md).
#ifndef FACEFEATURE_TOOLS_SERVICE_SERVICE_MESSAGES_H
#define FACEFEATURE_TOOLS_SERVICE_SERVICE_MESSAGES_H

#include <facefeature/facefeature.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/service_frame.h"

namespace facefeature_tools {

enum class ServiceRequestKind { kExtract, kCompare, kInfo, kHealth };

struct ServiceRequest {
  ServiceRequestKind kind = ServiceRequestKind::kHealth;
  std::string id;  // as JSON, for the reply; "null" if the request has none
};

// The error of a request. code is one of those in docs/hosts.md and never changes; what() is a text
// for a person.
class ServiceError : public std::runtime_error {
 public:
  ServiceError(const char* code, const std::string& text) : std::runtime_error(text), code_(code) {}
  const char* code() const { return code_; }

 private:
  const char* code_;
};

// Reads a header. Throws ServiceError ("bad-request"); the id is set first if the header has one.
void parseServiceRequest(const std::string& header, ServiceRequest& request);

// Facts that "info" replies.
struct ServiceInfo {
  std::string version;
  std::string model;  // its fingerprint
  size_t workers = 0;
  bool sandbox = false;
  size_t maxHeaderBytes = 0;
  size_t maxPhotoBytes = 0;
  size_t maxConnections = 0;
  double extractionsPerSecond = 0;  // of one connection
  double extractionSeconds = 0;
  double transferSeconds = 0;
};

// Counts that "health" replies. The totals are of the life of the service.
struct ServiceHealth {
  size_t ready = 0;        // workers with an engine
  size_t running = 0;      // extractions
  size_t waiting = 0;      // extractions
  size_t connections = 0;  // this one included
  uint64_t answered = 0;   // requests with a reply, errors included
  uint64_t lostWorkers = 0;
};

ServiceFrame infoReply(const std::string& id, const ServiceInfo& info);
ServiceFrame healthReply(const std::string& id, const ServiceHealth& health);
ServiceFrame featureReply(const std::string& id, const FeatureVector& feature,
                          const std::vector<std::string>& warnings);
ServiceFrame scoresReply(const std::string& id, const std::vector<float>& scores);
ServiceFrame errorReply(const std::string& id, const char* code, const std::string& text);

// The features of a body of "compare": one, and those that it is compared with. Throws ServiceError
// ("bad-request") for fewer than two or a part of one.
std::vector<FeatureVector> featuresOf(const std::string& body);

}  // namespace facefeature_tools

#endif
