/// @file
/// One latency histogram.
#pragma once

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"

/// One latency histogram entry: a number of I/Os, their mean size and mean latency, the scale of the buckets,
/// and 20 bucket counters.
///
/// The units of sizes, latencies and scale are those of whoever fills them; this record stores, merges and
/// encodes. The constructors, encode() and aggregate() trace "Entered" and "Left", that of an empty entry
/// also of which kind it is; docs/logging.md has the lines.
///
/// Encoded form, 26 `unsigned int` elements: I/O count, average I/O size, true latency, search type, base,
/// step, bucket 0 to 19. The marker is not encoded. docs/encoded-forms.md draws it.
/// Errors: none but those of encode(). Assertions: the empty handle given to aggregate().
/// Thread-safety: one object is used by one thread at a time.
/// @ingroup records
class QZCLatencyData
{
public:
    /// How many bucket counters an entry has.
    static constexpr unsigned int sgNumBuckets = 20;

    /// An empty entry: scale and buckets 0, marker 1.
    /// @param aDummy whether to make a dummy, whose count, average and latency are 4294967295, or a zero
    ///               entry, where they are 0
    explicit QZCLatencyData(bool aDummy);

    /// An empty entry as above, but with a scale, stored as given.
    /// @param aDummy      as above
    /// @param aSearchType code of the kind of scale
    /// @param aBase       base of the scale
    /// @param aStep       step of the scale
    QZCLatencyData(bool aDummy, unsigned int aSearchType, unsigned int aBase, unsigned int aStep);

    /// A filled entry.
    /// @param aIoCount       number of I/Os
    /// @param aAverageIoSize their mean size
    /// @param aMarker        kept, but not encoded
    /// @param aTrueLatency   their mean latency
    /// @param aSearchType    code of the kind of scale; only its low 8 bits are kept
    /// @param aBase          base of the scale
    /// @param aStep          step of the scale
    /// @param apBuckets      values of the first buckets, the others are 0; copied; null for none
    /// @param aNumBuckets    how many values apBuckets has: at most sgNumBuckets, which is not checked
    QZCLatencyData(unsigned int aIoCount, unsigned int aAverageIoSize, unsigned char aMarker,
                   unsigned int aTrueLatency, unsigned int aSearchType, unsigned int aBase,
                   unsigned int aStep, unsigned int const* apBuckets, unsigned int aNumBuckets);

    /// Does nothing of its own.
    virtual ~QZCLatencyData();

    /// @return the field of that name
    /// @{
    virtual unsigned int getSearchType() const;
    virtual unsigned int getBase() const;
    virtual unsigned int getStep() const;
    /// @}

    /// @return the first of sgNumBuckets counters, owned by this object and valid as long as it is
    virtual unsigned int const* getBuckets() const;

    /// @return the field of that name
    /// @{
    virtual unsigned int getIoCount() const;
    virtual unsigned int getAverageIoSize() const;
    virtual unsigned int getTrueLatency() const;
    /// @}

    /// Merges another entry into this one: the buckets and counts are added modulo 2^32, the averages
    /// weighted by the counts. When the new count is 0 only the buckets change. The scale is neither compared
    /// nor changed: merging entries of one scale is the caller's concern.
    ///
    /// The weights are products modulo 2^32 and the averages single-precision quotients, truncated: averages
    /// of large counts lose precision, deliberately the same on every machine. A quotient of 4294967295 or
    /// more gives 4294967295.
    /// @param acrOther live handle (asserted); may hold this very object
    virtual void aggregate(QZCPointer<QZCLatencyData> const& acrOther);

    /// Writes the encoded form.
    /// @param arOut stream to append it to
    /// @throws what QZCEncodableOutStream throws
    void encode(QZCEncodableOutStream& arOut) const;

    /// A fixed figure, not the length of the encoded form.
    /// @return 105, whatever the content
    unsigned int size() const;

private:
    unsigned int mIoCount;
    unsigned int mAverageIoSize;
    [[maybe_unused]] unsigned char mMarker;  // kept for whoever fills the entry; read by nothing here
    unsigned int mTrueLatency;
    unsigned int mSearchType;
    unsigned int mBase;
    unsigned int mStep;
    unsigned int mBuckets[sgNumBuckets];
};
