#ifndef QUORVAN_SKINNING_H
#define QUORVAN_SKINNING_H

/*
 * Skinning that any number of threads may run at once, callable from C and
 * from any language that calls C.
 *
 * The calls write exactly the bytes that Quorvan::SkinningFull and
 * Quorvan::SkinningSingle of the vector implementation write for the same
 * bones and job, on the widest vector unit the processor has. Unlike the
 * interface they keep no state: the palette is the caller's, so is the job,
 * and two calls share nothing but read-only inputs. The library starts no
 * thread; a job system runs the calls wherever it likes.
 *
 * One job can be split into vertex ranges for several threads:
 *
 *     QuorvanSkinningRange ranges[8];
 *     uint32_t n = QuorvanSkinningSplit(&job, 8, ranges);
 *     for each i < n, on any thread:  QuorvanSkinningFullRange(&palette, &ranges[i]);
 *     after all of them:              QuorvanSkinningStitch(&palette, ranges, n);
 *
 * The only link between the vertices of SkinningFull is the float sums one
 * vertex leaves to the next: multiplied by zero they are +0 unless a sum was
 * negative (-0) or not finite (NaN, which stays NaN for the rest of the job).
 * Each range starts from +0; the stitch checks each range's first vertex
 * against the sums of the range before it and skins again, one by one, only
 * the vertices whose bytes that changes. SkinningSingle's vertices are
 * independent: its ranges need no stitch.
 */

#include <stddef.h>
#include <stdint.h>

#include "QuorvanExport.h"
#include "SkinningJob.h"

#if defined(_WIN32) && !defined(_WIN64)
#  define QUORVAN_SKINNING_CALL __cdecl
#else
#  define QUORVAN_SKINNING_CALL
#endif

#if defined(__cplusplus)
#  define QUORVAN_SKINNING_ALIGN64 alignas(64)
#elif defined(_MSC_VER)
#  define QUORVAN_SKINNING_ALIGN64 __declspec(align(64))
#else
#  define QUORVAN_SKINNING_ALIGN64 __attribute__((aligned(64)))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What a call did. */
typedef enum QuorvanSkinningResult {
    QuorvanSkinningDone = 0,
    /* The processor has no SSE: nothing was written. The scalar
       implementation of the interface is what such a processor runs. */
    QuorvanSkinningNoVectorUnit = 1,
    /* The palette does not start on a 64-byte boundary: nothing was written. */
    QuorvanSkinningMisalignedPalette = 2,
    /* A bone number beyond 255: nothing was written. */
    QuorvanSkinningNoSuchBone = 3,
    /* An extraSize other than 0, 4, ..., 84: the host's debug service got the
       interface's fatal report, and no vertex was touched. */
    QuorvanSkinningUnsupportedExtraSize = 4
} QuorvanSkinningResult;

/* The interface's job record. */
typedef SkinningJob QuorvanSkinningJob;

/* 256 bones as the vector implementation keeps them: float rows and their
   quantised rotations, a cache line of rows per bone, and the same bones laid
   out for the wide vector units (five cache lines each). It must start on a
   64-byte boundary: declared, it does; from the heap, allocate it aligned
   (aligned_alloc, _aligned_malloc, C++17 new). Loading it is not
   thread-safe, reading it is: load it, then skin with it from any number of
   threads. Its size is not part of the interface yet: a later version may
   change it, so take sizeof rather than a number, and rebuild against each
   version's header. */
typedef struct QuorvanSkinningPalette {
    QUORVAN_SKINNING_ALIGN64 uint8_t storage[100608];
} QuorvanSkinningPalette;

/* A part of a job, made by QuorvanSkinningSplit. `job` is the part's own
   job; `carry` is written by QuorvanSkinningFullRange and read by
   QuorvanSkinningStitch. */
typedef struct QuorvanSkinningRange {
    QuorvanSkinningJob job;
    float carry[16];
} QuorvanSkinningRange;

/* Every bone becomes the identity, as in a new Quorvan instance. */
QUORVAN_API QuorvanSkinningResult QUORVAN_SKINNING_CALL QuorvanSkinningResetPalette(QuorvanSkinningPalette* palette);

/* Loads bone `bone` from twelve floats (the images of the x, y and z axes,
   then the translation), as Quorvan::SetSkinningMatrix does. */
QUORVAN_API QuorvanSkinningResult QUORVAN_SKINNING_CALL QuorvanSkinningSetMatrix(QuorvanSkinningPalette* palette,
                                                                                 uint32_t bone, const float* m);

/* The whole job, as Quorvan::SkinningFull and Quorvan::SkinningSingle skin
   it. The job record is read, never written. */
QUORVAN_API QuorvanSkinningResult QUORVAN_SKINNING_CALL QuorvanSkinningFull(const QuorvanSkinningPalette* palette,
                                                                            const QuorvanSkinningJob* job);
QUORVAN_API QuorvanSkinningResult QUORVAN_SKINNING_CALL QuorvanSkinningSingle(const QuorvanSkinningPalette* palette,
                                                                              const QuorvanSkinningJob* job);

/* Cuts `job` into at most `parts` ranges of consecutive vertices, as even as
   the count allows, and returns how many it made. A job is kept whole (one
   range) where its parts could not run at the same time: when a vertex's
   stores can reach another vertex's stores or any byte the job reads (as in
   skinning in place), and when its extraSize is unsupported, so that the
   run reports it once. */
QUORVAN_API uint32_t QUORVAN_SKINNING_CALL QuorvanSkinningSplit(const QuorvanSkinningJob* job, uint32_t parts,
                                                                QuorvanSkinningRange* ranges);

/* One range of a SkinningFull job, from +0 sums; any thread, any order. */
QUORVAN_API QuorvanSkinningResult QUORVAN_SKINNING_CALL
QuorvanSkinningFullRange(const QuorvanSkinningPalette* palette, QuorvanSkinningRange* range);

/* After every range of a SkinningFull job has run: makes the bytes those of
   one QuorvanSkinningFull call. `ranges` are all of the split's, in order. */
QUORVAN_API QuorvanSkinningResult QUORVAN_SKINNING_CALL
QuorvanSkinningStitch(const QuorvanSkinningPalette* palette, const QuorvanSkinningRange* ranges, uint32_t count);

/* The vector unit the calls run on ("SSE", "SSE2", "AVX2" or "AVX-512" on
   x86, "NEON" on 64-bit ARM), or a null pointer when an x86 processor has
   no SSE. */
QUORVAN_API const char* QUORVAN_SKINNING_CALL QuorvanSkinningVectorUnit(void);

/*
 * Checking a job before it runs, for a host's debug builds.
 *
 * The calls check nothing a host could get wrong beyond extraSize; a wrong
 * stride, offset or buffer size shows up as memory corrupted far from its
 * cause. QuorvanSkinningCheck says, before the call, whether the job stays
 * inside the caller's buffers and uses only bones the caller loaded, and if
 * not, which vertex goes wrong, how, and by how many bytes. It writes nothing
 * but its answer, never runs inside the skinning calls, and takes constant
 * time for the bounds (they follow from the first and last vertex) and one
 * look at each vertex's bone and weight bytes.
 *
 *     QuorvanSkinningCheckExtents extents = {src, srcBytes, dst, dstBytes, aux, auxBytes, boneCount};
 *     QuorvanSkinningCheckAnswer answer;
 *     if (QuorvanSkinningCheck(&job, QuorvanSkinningCheckVectorFull, &extents, &answer) != QuorvanSkinningCheckFine) {
 *         char line[160];
 *         QuorvanSkinningCheckText(&answer, line, sizeof line);
 *         ... "vertex 1023: the tangent store ends 12 bytes past the destination buffer"
 *     }
 */

/* The call a job is checked for. */
typedef enum QuorvanSkinningCheckCall {
    /* Quorvan_SSE's SkinningFull, QuorvanSkinningFull, and each range of a
       split job with QuorvanSkinningFullRange. */
    QuorvanSkinningCheckVectorFull = 0,
    /* Quorvan_SSE's SkinningSingle and QuorvanSkinningSingle. */
    QuorvanSkinningCheckVectorSingle = 1,
    /* Quorvan_std's SkinningFull. */
    QuorvanSkinningCheckScalarFull = 2,
    /* Quorvan_std's SkinningSingle. */
    QuorvanSkinningCheckScalarSingle = 3
} QuorvanSkinningCheckCall;

/* The caller's buffers, each as its first byte and its size in bytes, and
   how many bones it loaded into the palette (bones 0 to bonesLoaded - 1).
   The auxiliary buffer is looked at only when the job's hasAux is set. */
typedef struct QuorvanSkinningCheckExtents {
    const void* source;
    size_t sourceBytes;
    const void* destination;
    size_t destinationBytes;
    const void* auxiliary;
    size_t auxiliaryBytes;
    uint32_t bonesLoaded;
} QuorvanSkinningCheckExtents;

/* What is wrong with a job: the first problem a call would run into. */
typedef enum QuorvanSkinningCheckProblem {
    QuorvanSkinningCheckFine = 0,
    /* The job or the extents are a null pointer. */
    QuorvanSkinningCheckNothingToCheck = 1,
    /* extraSize is not one of 0, 4, ..., 84 (the call would report it). */
    QuorvanSkinningCheckUnsupportedExtraSize = 2,
    /* vertexCount is 0, which the calls take as 2^32 vertices. */
    QuorvanSkinningCheckNoVertices = 3,
    /* A read starts `bytes` before its buffer, or ends `bytes` past it. */
    QuorvanSkinningCheckReadBeforeBuffer = 4,
    QuorvanSkinningCheckReadPastBuffer = 5,
    /* A store starts `bytes` before the destination, or ends `bytes` past it. */
    QuorvanSkinningCheckStoreBeforeBuffer = 6,
    QuorvanSkinningCheckStorePastBuffer = 7,
    /* Influence `influence` of the vertex uses bone `value`, which is not
       loaded: at or beyond bonesLoaded, or beyond the palette's bones
       (128 for the scalar implementation). */
    QuorvanSkinningCheckUnloadedBone = 8
} QuorvanSkinningCheckProblem;

/* The bytes of a vertex a read or store takes. Reads count what the vector
   kernels fetch as whole 16-byte lanes; stores count the four spill bytes
   behind a vector that SkinningSingle stores as 16 bytes. */
typedef enum QuorvanSkinningCheckAccess {
    QuorvanSkinningCheckPosition = 0,
    /* The bone index and weight bytes, with the byte after the weights that
       the end test reads after a fourth influence. */
    QuorvanSkinningCheckInfluences = 1,
    QuorvanSkinningCheckNormal = 2,
    QuorvanSkinningCheckTangent = 3,
    QuorvanSkinningCheckBinormal = 4,
    QuorvanSkinningCheckPassThrough = 5,
    QuorvanSkinningCheckAuxiliary = 6
} QuorvanSkinningCheckAccess;

/* Notes on a job, whether or not it has a problem: what is allowed but is
   seldom meant. */
enum {
    /* Some store of the job lands on bytes the job reads from the source. */
    QuorvanSkinningCheckOverlapsSource = 1,
    /* Some store of the job lands on the auxiliary bytes it reads. */
    QuorvanSkinningCheckOverlapsAuxiliary = 2
};

/* The answer: the same 32 bytes on every platform. */
typedef struct QuorvanSkinningCheckAnswer {
    uint32_t problem;   /* a QuorvanSkinningCheckProblem */
    uint32_t notes;     /* QuorvanSkinningCheckOverlaps... bits */
    uint32_t vertex;    /* the first vertex with the problem, counted from 0 */
    uint32_t access;    /* the QuorvanSkinningCheckAccess that leaves its buffer */
    uint32_t influence; /* an unloaded bone: the influence step (0 to 3) that uses it */
    uint32_t value;     /* an unloaded bone: its index; an unsupported extraSize: the extraSize */
    uint64_t bytes;     /* a read or store outside its buffer: by how many bytes */
} QuorvanSkinningCheckAnswer;

/* Checks `job` for `call` against the caller's buffers. Fills `answer`
   (unless it is a null pointer) and returns its problem. */
QUORVAN_API QuorvanSkinningCheckProblem QUORVAN_SKINNING_CALL
QuorvanSkinningCheck(const QuorvanSkinningJob* job, QuorvanSkinningCheckCall call,
                     const QuorvanSkinningCheckExtents* extents, QuorvanSkinningCheckAnswer* answer);

/* The answer as one readable line ("fine", or "vertex 1023: the tangent
   store ends 12 bytes past the destination buffer", with any notes after
   it), written into `text` cut to `capacity` bytes with its terminating
   zero. Returns the length of the whole line, as snprintf does. */
QUORVAN_API uint32_t QUORVAN_SKINNING_CALL QuorvanSkinningCheckText(const QuorvanSkinningCheckAnswer* answer, char* text,
                                                                    uint32_t capacity);

#ifdef __cplusplus
}
#endif

#endif
