/* sandboxed_host PHOTO.ppm POINTS.txt PHOTO.ppm POINTS.txt
 *
 * Prints the score of two faces, like minimal_host, but a worker process decodes the photographs.
 * The worker can use memory and its open descriptors: a socket, standard output and standard error.
 * Any other system call ends it. If a photograph crashes the worker or takes too long, the host
 * replaces the worker and continues.
 *
 * The worker executes the program anew, so it has no copy of the host's memory. A host should open
 * its own files with O_CLOEXEC, so that the worker does not have them either. For Linux; needs
 * libseccomp.
 * Exit codes: 2 wrong usage, 3 an input can't be read or has no feature, 4 no worker. */
#define _GNU_SOURCE
#include <errno.h>
#include <facefeature/facefeature.h>
#include <seccomp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

enum { kPoints = 29, kMaxPhotoBytes = 16 << 20, kTimeoutSeconds = 10 };

/* The bytes of a photograph follow a request. */
typedef struct Request {
  uint32_t photoBytes;
  Landmark points[kPoints];
} Request;

typedef struct Reply {
  int32_t ok;
  FeatureVector feature;
} Reply;

static int readAll(int file, void* bytes, size_t count) {
  for (char* at = bytes; count > 0;) {
    ssize_t part = read(file, at, count);
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) return 0;
    at += part;
    count -= (size_t)part;
  }
  return 1;
}

static int writeAll(int file, const void* bytes, size_t count) {
  for (const char* at = bytes; count > 0;) {
    ssize_t part = write(file, at, count);
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) return 0;
    at += part;
    count -= (size_t)part;
  }
  return 1;
}

/* The worker. */

/* Returns 0 if the system refuses. There must be no other thread. */
static int enterSandbox(void) {
  static const int kAllowed[] = {
      SCMP_SYS(read),        SCMP_SYS(write),          SCMP_SYS(brk),   SCMP_SYS(munmap),
      SCMP_SYS(mremap),      SCMP_SYS(madvise),        SCMP_SYS(futex), SCMP_SYS(clock_gettime),
      SCMP_SYS(sched_yield), SCMP_SYS(rt_sigprocmask), SCMP_SYS(exit),  SCMP_SYS(exit_group)};
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_KILL_PROCESS);
  int error = filter == NULL;
  for (size_t i = 0; i < sizeof kAllowed / sizeof *kAllowed; ++i) {
    error |= seccomp_rule_add(filter, SCMP_ACT_ALLOW, kAllowed[i], 0);
  }
  /* Memory, but no new code. */
  const struct scmp_arg_cmp withoutCode = SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0);
  error |= seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(mmap), 1, withoutCode);
  error |= seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(mprotect), 1, withoutCode);
  return error == 0 && seccomp_load(filter) == 0;
}

/* Blue, green, red; the top row first. Null if the bytes are not a picture. */
static uint8_t* decodePhoto(uint8_t* bytes, size_t count, int32_t* width, int32_t* height) {
  int start = 0;
  bytes[count] = 0; /* ends the header for sscanf, if nothing else does */
  if (sscanf((const char*)bytes, "P6 %d %d 255%*1[ \t\r\n]%n", width, height, &start) != 2 ||
      start == 0 || *width < 2 || *width > 10000 || *height < 2 || *height > 10000) {
    return NULL;
  }
  size_t pixelBytes = 3 * (size_t)*width * (size_t)*height;
  uint8_t* bgr = bytes + start;
  if (count - (size_t)start != pixelBytes) return NULL;
  for (uint8_t* pixel = bgr; pixel < bgr + pixelBytes; pixel += 3) {
    uint8_t red = pixel[0];
    pixel[0] = pixel[2];
    pixel[2] = red;
  }
  return bgr;
}

static void answer(FeatureEngine* engine, const Request* request, uint8_t* photo, Reply* reply) {
  int32_t width, height;
  memset(reply, 0, sizeof *reply);
  const uint8_t* bgr = decodePhoto(photo, request->photoBytes, &width, &height);
  if (bgr == NULL) return;
  LandmarkSet* face = calloc(1, sizeof(LandmarkSet) + (kPoints - 1) * sizeof(Landmark));
  if (face == NULL) return;
  face->count = kPoints;
  memcpy(face->entries, request->points, sizeof request->points);
  ExtractFeature(engine, bgr, width, height, 3 * width, face, reply->feature.values);
  free(face);
  reply->ok = 1;
}

static int runWorker(void) {
  const struct rlimit memory = {1 << 30, 1 << 30};
  FeatureEngine* engine = CreateFeatureEngine();
  uint8_t* photo = malloc(kMaxPhotoBytes + 1);
  Request request;
  Reply reply = {0};
  reply.ok =
      engine != NULL && photo != NULL && setrlimit(RLIMIT_AS, &memory) == 0 && enterSandbox();
  while (writeAll(STDIN_FILENO, &reply, sizeof reply) &&
         readAll(STDIN_FILENO, &request, sizeof request)) {
    if (request.photoBytes > kMaxPhotoBytes || !readAll(STDIN_FILENO, photo, request.photoBytes)) {
      break;
    }
    answer(engine, &request, photo, &reply);
  }
  _exit(0);
}

/* The host. */

typedef struct Worker {
  pid_t process;
  int socket;
} Worker;

/* Returns 0 if the worker has exited or does not reply in time. */
static int receiveReply(const Worker* worker, Reply* reply) {
  return recv(worker->socket, reply, sizeof *reply, MSG_WAITALL) == (ssize_t)sizeof *reply;
}

/* Returns 0 if there is none, for example because there is no model. */
static int startWorker(Worker* worker) {
  int ends[2];
  const struct timeval time = {kTimeoutSeconds, 0};
  Reply ready;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return 0;
  worker->socket = ends[0];
  worker->process = fork();
  if (worker->process == 0) {
    dup2(ends[1], STDIN_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setenv("OMP_NUM_THREADS", "1", 1); /* the sandbox allows no second thread */
    execl("/proc/self/exe", "sandboxed_host", "--worker", (char*)NULL);
    _exit(127);
  }
  close(ends[1]);
  setsockopt(worker->socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
  setsockopt(worker->socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
  return worker->process > 0 && receiveReply(worker, &ready) && ready.ok;
}

static void stopWorker(Worker* worker) {
  if (worker->process <= 0) return;
  kill(worker->process, SIGKILL);
  waitpid(worker->process, NULL, 0);
  close(worker->socket);
  worker->process = 0;
}

static int readPoints(const char* path, Landmark* points) {
  FILE* file = fopen(path, "r");
  int count = 0;
  while (file != NULL && count < kPoints &&
         fscanf(file, "%d %f %f", &points[count].id, &points[count].x, &points[count].y) == 3) {
    ++count;
  }
  if (file != NULL) fclose(file);
  return count == kPoints;
}

/* Returns 0 if an input can't be read, if the worker refuses it, or if the worker was lost. A lost
 * worker is replaced. */
static int extract(Worker* worker, const char* photoPath, const char* pointsPath,
                   FeatureVector* feature) {
  static uint8_t photo[kMaxPhotoBytes];
  Request request;
  Reply reply;
  FILE* file = fopen(photoPath, "rb");
  if (file == NULL || !readPoints(pointsPath, request.points)) return 0;
  request.photoBytes = (uint32_t)fread(photo, 1, sizeof photo, file);
  fclose(file);
  if (!writeAll(worker->socket, &request, sizeof request) ||
      !writeAll(worker->socket, photo, request.photoBytes) || !receiveReply(worker, &reply)) {
    fprintf(stderr, "%s: the worker was lost\n", photoPath);
    stopWorker(worker);
    if (!startWorker(worker)) exit(4);
    return 0;
  }
  *feature = reply.feature;
  return reply.ok;
}

int main(int argc, char** argv) {
  if (argc == 2 && strcmp(argv[1], "--worker") == 0) return runWorker();
  if (argc != 5) return 2;
  signal(SIGPIPE, SIG_IGN);
  Worker worker;
  if (!startWorker(&worker)) return 4;
  FeatureVector features[2];
  const int ok = extract(&worker, argv[1], argv[2], &features[0]) &
                 extract(&worker, argv[3], argv[4], &features[1]);
  stopWorker(&worker);
  if (!ok) return 3;
  printf("%.9g\n", CompareFeatures(&features[0], &features[1]));
  return 0;
}
