#include "io/Error.h"

#include <new>

Error errorOf(const std::exception_ptr& thrown, const QString& unexpected) {
    try {
        std::rethrow_exception(thrown);
    } catch (const Failure& e) {
        return e.error();
    } catch (const std::bad_alloc&) {
        return Error{Error::Kind::memory, QStringLiteral("Not enough memory"), {}, std::nullopt};
    } catch (const std::exception& e) {
        return Error{Error::Kind::other, QString::fromLocal8Bit(e.what()), {}, std::nullopt};
    } catch (...) {
        return Error{Error::Kind::other, unexpected, {}, std::nullopt};
    }
}
