#pragma once

namespace Kest {

// Selects one of the two user stores. The underlying type is fixed so that
// any integer a caller passes is a valid value; operations reject values
// other than these two.
enum ContainerType : int {
    CONTAINER_FAVORITE = 1, // favourites, "Favorite.poi"
    CONTAINER_HISTORY = 2,  // history, "History.poi"
};

} // namespace Kest
