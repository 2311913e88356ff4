#include "backend/sensor/agentcommon/include/WorldWideName.h"

#include "backend/common/include/Buffer.h"
#include "backend/common/include/Clib.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/Pointer.h"
#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE ".//WorldWideName"

static unsigned int const sgPairLength = 2;
static unsigned int const sgPairDistance = 3;
static unsigned int const sgTextLength = 23;

QZCWorldWideName::QZCWorldWideName() : mBinaryForm{}, mStringForm("") {}

QZCWorldWideName::~QZCWorldWideName() {}

unsigned char const* QZCWorldWideName::getBinaryForm() const { return mBinaryForm; }

QZCString const& QZCWorldWideName::getStringForm() const { return mStringForm; }

void QZCWorldWideName::setBinaryForm(unsigned char const* apBytes) { _init(apBytes); }

void QZCWorldWideName::setStringForm(QZCString const& acrText) { _init(acrText); }

void QZCWorldWideName::encode(QZCEncodableOutStream& arOut) const
{
    arOut << QZCLocalBuffer(mBinaryForm, sgNumBytes);
}

void QZCWorldWideName::decode(QZCEncodableInStream& arIn)
{
    QZCPointer<QZCBuffer> decoded;
    arIn >> decoded;
    QZCBuffer const& bytes = *decoded;
    _init(static_cast<unsigned char const*>(bytes));
}

void QZCWorldWideName::_init(unsigned char const* apBytes)
{
    QZ_LOG_ENTERED();
    if (apBytes != mBinaryForm)
    {
        ClibMemcpy(mBinaryForm, apBytes, sgNumBytes);
    }
    char text[sgTextLength + 1];
    char* end = text;
    for (unsigned int i = 0; i < sgNumBytes - 1; ++i)
    {
        end += ClibSprintf(end, "%02x", mBinaryForm[i]);
        end += ClibSprintf(end, ":");
    }
    ClibSprintf(end, "%02x", mBinaryForm[sgNumBytes - 1]);
    mStringForm = text;
    QZ_LOG_TRACE("The string form: %s", mStringForm.get());
    QZ_LOG_LEFT();
}

void QZCWorldWideName::_init(QZCString const& acrText)
{
    QZ_LOG_ENTERED();
    if (acrText.size() != sgTextLength)
    {
        QZ_LOG_ERROR("The length of string form '%s' is not 23.", acrText.get());
        throw QZCInvalidEx("Invalid WWN string", 6);
    }
    mStringForm = acrText;

    // Initialised once, before the loop: a pair that cannot be scanned repeats the value of the previous pair.
    unsigned int value = 0;
    QZCString pair("");
    for (unsigned int i = 0; i < sgNumBytes; ++i)
    {
        unsigned int const position = i * sgPairDistance;
        mStringForm.substr(pair, position, sgPairLength);
        ClibSscanf(pair.get(), "%x", &value);
        mBinaryForm[i] = static_cast<unsigned char>(value);
        if (i < sgNumBytes - 1 && mStringForm.at(position + sgPairLength) != ':')
        {
            QZ_LOG_ERROR("The string form %s contains an invalid WWN", mStringForm.get());
            throw QZCInvalidEx("Invalid WWN string", 6);
        }
    }
    QZ_LOG_TRACE("The string form: %s", mStringForm.get());
    QZ_LOG_LEFT();
}
