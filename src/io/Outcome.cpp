#include "io/Outcome.h"

#include <new>

QString describeException(const std::exception_ptr& error, const QString& unexpected) {
    try {
        std::rethrow_exception(error);
    } catch (const DescribedError& e) {
        return e.description();
    } catch (const std::bad_alloc&) {
        return QStringLiteral("Not enough memory");
    } catch (const std::exception& e) {
        return QString::fromLocal8Bit(e.what());
    } catch (...) {
        return unexpected;
    }
}
