#include "tests/abi/UnloadProbe.h"

#include "agentkit/include/Wwn.h"
#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Exception.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace
{
char const* const nameText = "21:00:00:24:ff:00:00:01";

void countLine(void* aLines, char const* /*aLine*/, unsigned int /*aLength*/)
{
    ++*static_cast<unsigned int*>(aLines);
}

bool encodesAndDecodes()
{
    QZCWorldWideName name;
    name.setStringForm(nameText);
    QZCEncodableOutStream out;
    name.encode(out);
    QZCBuffer const& encoded = out.getEncoded();
    QZCEncodableInStream in(encoded, encoded.getLength());
    QZCWorldWideName decoded;
    decoded.decode(in);
    return decoded.getStringForm() == nameText;
}

template <typename Type>
bool catches()
{
    try
    {
        QZCWorldWideName name;
        name.setStringForm("no name");
    }
    catch (Type const& aException)
    {
        return aException.getCode() == 6;
    }
    return false;
}
}  // namespace

bool useLibraries()
{
    unsigned int lines = 0;
    SetLogSink(&countLine, &lines);
    bool const works = encodesAndDecodes() && catches<QZCInvalidEx>() && catches<QZCException>() &&
                       qz::Wwn::parse(nameText)->text() == nameText;
    SetLogSink(nullptr, nullptr);
    return works && lines == 2;  // one for each exception
}
