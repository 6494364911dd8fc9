extern "C" int renderAll(int count, char** arguments);

int main(int count, char** arguments) { return renderAll(count, arguments); }
