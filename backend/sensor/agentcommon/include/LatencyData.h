/// @file
/// One latency histogram.
#pragma once

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"

/// One latency histogram entry: a number of I/Os, their mean size and mean latency, the scale of the buckets,
/// and 20 bucket counters.
///
/// The component that fills an entry defines the units of sizes, latencies and scale. This record only stores,
/// merges and encodes them. The constructors, encode() and aggregate() trace "Entered" and "Left". The constructors
/// of an empty entry also trace its kind. docs/logging.md has the lines.
///
/// Encoded form, 26 `unsigned int` elements: I/O count, average I/O size, true latency, search type, base,
/// step, bucket 0 to 19. The marker is not encoded. docs/encoded-forms.md draws it.
/// Errors: only encode() throws. Assertions: aggregate() asserts that its handle is live.
/// Thread-safety: only one thread may use an object at a time.
/// @ingroup records
class QZCLatencyData
{
public:
    /// Number of bucket counters of an entry.
    static constexpr unsigned int sgNumBuckets = 20;

    /// Makes an empty entry. Scale and buckets are 0, the marker is 1.
    /// @param aDummy true for a dummy entry, whose count, average and latency are 4294967295; false for a zero
    ///               entry, in which they are 0
    explicit QZCLatencyData(bool aDummy);

    /// Makes an empty entry with a scale. The values of the scale are stored unchanged.
    /// @param aDummy      as above
    /// @param aSearchType code of the kind of scale
    /// @param aBase       base of the scale
    /// @param aStep       step of the scale
    QZCLatencyData(bool aDummy, unsigned int aSearchType, unsigned int aBase, unsigned int aStep);

    /// Makes a filled entry.
    /// @param aIoCount       number of I/Os
    /// @param aAverageIoSize mean size of the I/Os
    /// @param aMarker        stored, but not encoded
    /// @param aTrueLatency   mean latency of the I/Os
    /// @param aSearchType    code of the kind of scale; only its low 8 bits are stored
    /// @param aBase          base of the scale
    /// @param aStep          step of the scale
    /// @param apBuckets      values of the first buckets, copied; the other buckets are 0; null for none
    /// @param aNumBuckets    number of values at apBuckets, at most sgNumBuckets, which is not checked
    QZCLatencyData(unsigned int aIoCount, unsigned int aAverageIoSize, unsigned char aMarker,
                   unsigned int aTrueLatency, unsigned int aSearchType, unsigned int aBase,
                   unsigned int aStep, unsigned int const* apBuckets, unsigned int aNumBuckets);

    /// Does nothing.
    virtual ~QZCLatencyData();

    /// @return the field of that name
    /// @{
    virtual unsigned int getSearchType() const;
    virtual unsigned int getBase() const;
    virtual unsigned int getStep() const;
    /// @}

    /// @return the first of sgNumBuckets counters, owned by this object, valid as long as the object
    virtual unsigned int const* getBuckets() const;

    /// @return the field of that name
    /// @{
    virtual unsigned int getIoCount() const;
    virtual unsigned int getAverageIoSize() const;
    virtual unsigned int getTrueLatency() const;
    /// @}

    /// Merges another entry into this one. Buckets and counts are added modulo 2^32. The averages are weighted
    /// by the counts. If the new count is 0, only the buckets change. The scale is neither compared nor changed:
    /// the caller is responsible for merging only entries with the same scale.
    ///
    /// The weighted sums are products modulo 2^32. The averages are quotients in single precision, truncated.
    /// Averages of large counts therefore lose precision, deliberately, and identically on every machine. A
    /// quotient that does not fit into 32 bits gives 4294967295.
    /// @param acrOther live handle (asserted); may hold this object
    virtual void aggregate(QZCPointer<QZCLatencyData> const& acrOther);

    /// Writes the encoded form.
    /// @param arOut stream to append it to
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append(). The elements that were written before
    ///         then remain in the stream: call its clear() or discard it
    void encode(QZCEncodableOutStream& arOut) const;

    /// @return always 105, which is not the length of the encoded form
    unsigned int size() const;

private:
    unsigned int mIoCount;
    unsigned int mAverageIoSize;
    unsigned char mMarker;  // stored for the component that fills the entry; not read here
    unsigned int mTrueLatency;
    unsigned int mSearchType;
    unsigned int mBase;
    unsigned int mStep;
    unsigned int mBuckets[sgNumBuckets];
};
