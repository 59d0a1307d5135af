// Linked with one room of the tool whole: what a room calls must stand below it.
int main() {}
