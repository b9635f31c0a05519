#ifndef OM_UITOOLKITSUPPORT_H
#define OM_UITOOLKITSUPPORT_H

#include <om/omsys_export.h>

#include <QString>
#include <QUrl>

namespace om {

/** Helpers between an application's UI toolkit and the platform. */
class OMSYS_EXPORT UIToolkitSupport
{
public:
    /**
     * The absolute file path that @p url stands for: a "file:" URL or a
     * plain path (a relative one against the working directory), or an
     * "asset:///x" URL, which names x in the assets/ directory beside the
     * executable. Anything else, and an empty URL, gives an empty string.
     * The file need not exist.
     */
    static QString absolutePathFromUrl(const QUrl &url);

private:
    UIToolkitSupport() = delete;
};

} // namespace om

#endif
